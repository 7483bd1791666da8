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

# Registers the module and the stand-ins for the address books Wine lacks,
# then plays the Send fax scenario; screenshots go to $(BUILD)/demo. With
# DEMO_LANG=<code> (de, ar, zh-cn, ...) the desktop speaks that language and
# the screenshots go to $(BUILD)/demo/<code>.
DEMO_LANG ?=
demo: build
	@mkdir -p $(BUILD)/demo/$(DEMO_LANG)
	@locale=$$(scripts/demo-locale.sh $(DEMO_LANG)) && export LANG=$$locale LC_ALL=$$locale && \
	scripts/wine-run.sh $(BUILD) sh -c 'cd $(BUILD)/bin && wine regsvr32 /s VelPhonebook64.dll && \
		wine regsvr32 /s standin_wab32.dll && wine standin_outlook.exe /RegServer && \
		wine demo_host.exe ..\\demo$(if $(DEMO_LANG),\\$(DEMO_LANG))'

clean:
	rm -rf $(BUILD)
