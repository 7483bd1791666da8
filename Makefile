# Set-up and everyday commands; see README.md.
BUILD ?= build
CMAKE_FLAGS ?=

.PHONY: all deps configure build test demo clean

all: build

deps:
	@scripts/install-deps.sh

$(BUILD)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD) -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake $(CMAKE_FLAGS)

configure: $(BUILD)/CMakeCache.txt

build: deps configure
	cmake --build $(BUILD) -j2

test: build
	@scripts/wine-run.sh $(BUILD) ctest --test-dir $(BUILD) --output-on-failure

demo: build
	@scripts/wine-run.sh $(BUILD) sh -c 'cd $(BUILD)/bin && wine regsvr32 /s VelPhonebook64.dll && wine demo_host.exe'

clean:
	rm -rf $(BUILD)
