# Set-up and everyday commands; see README.md.
BUILD ?= build
# The 32-bit module (VelPhonebook.dll) and its tests build in a tree of their own.
BUILD_X86 ?= $(BUILD)/x86
CMAKE_FLAGS ?=

.PHONY: all deps configure build build-x86 test test-x64 test-x86 package test-package demo bench clean

all: build build-x86

deps:
	@scripts/install-deps.sh

$(BUILD)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD) -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake $(CMAKE_FLAGS)

configure: $(BUILD)/CMakeCache.txt

build: deps configure
	cmake --build $(BUILD) -j2

$(BUILD_X86)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD_X86) -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-i686.cmake $(CMAKE_FLAGS)

build-x86: deps $(BUILD_X86)/CMakeCache.txt
	cmake --build $(BUILD_X86) -j2

# Both architectures (x86 runs what can differ by architecture) and the
# packages. The x86 tree builds while the x86-64 tests run (they mostly wait
# on Wine). A failing part does not stop the others: every part runs and the
# failures are listed at the end.
test: build
	@failed=""; \
	$(MAKE) --no-print-directory build-x86 > $(BUILD)/build-x86.log 2>&1 & x86=$$!; \
	$(MAKE) --no-print-directory test-x64 || failed="$$failed test-x64"; \
	wait $$x86 || { tail -n 40 $(BUILD)/build-x86.log; failed="$$failed build-x86"; }; \
	$(MAKE) --no-print-directory test-x86 || failed="$$failed test-x86"; \
	$(MAKE) --no-print-directory test-package || failed="$$failed test-package"; \
	if [ -n "$$failed" ]; then echo "FAILED:$$failed"; exit 1; fi; \
	echo "All tests passed"

test-x64: build
	@scripts/wine-run.sh $(BUILD) ctest --test-dir $(BUILD) --output-on-failure

test-x86: build-x86
	@if [ -x /usr/lib/wine/wine ]; then \
		scripts/wine-run.sh $(BUILD_X86) ctest --test-dir $(BUILD_X86) --output-on-failure; \
	else \
		echo "SKIPPED: the 32-bit tests (Wine's 32-bit loader, Debian's wine32:i386, is not installed)"; \
	fi

# The installer packages, built with wixl from both trees:
# $(BUILD)/package/VelPhonebook-<version>-x64.msi (both modules) and -x86.msi
# (the 32-bit module alone).
package: build build-x86
	@python3 packaging/make_package.py --build $(BUILD) --build-x86 $(BUILD_X86) --output $(BUILD)/package

# Installs, uses, upgrades and uninstalls the packages in fresh Wine prefixes.
test-package: package
	@tests/package/test_package.sh $(BUILD) $(BUILD_X86)

# Registers the module and the stand-ins for the address books Wine lacks,
# then plays the Send fax scenario; screenshots go to $(BUILD)/demo. With
# DEMO_LANG=<code> (de, ar, zh-cn, ...) the desktop speaks that language and
# the screenshots go to $(BUILD)/demo/<code>.
DEMO_LANG ?=
# Builds only what the demo needs: the module, the stand-ins and the demo host.
demo: deps configure
	cmake --build $(BUILD) -j2 --target VelPhonebook64 standin_wab32 standin_outlook demo_host
	@mkdir -p $(BUILD)/demo/$(DEMO_LANG)
	@locale=$$(scripts/demo-locale.sh $(DEMO_LANG)) && export LANG=$$locale LC_ALL=$$locale && \
	scripts/wine-run.sh $(BUILD) sh -c 'cd $(BUILD)/bin && wine regsvr32 /s VelPhonebook64.dll && \
		wine regsvr32 /s standin_wab32.dll && wine standin_outlook.exe /RegServer && \
		wine demo_host.exe ..\\demo$(if $(DEMO_LANG),\\$(DEMO_LANG))'

# The benchmark programs (built on request; see README.md).
bench: deps configure
	cmake --build $(BUILD) -j2 --target benchmarks

clean:
	rm -rf $(BUILD)
