# Two entry points for a fresh Debian machine: `make demo` and `make test`.
# Each installs whatever Debian package is missing, then configures and builds
# with CMake and Ninja.
JOBS ?= $(shell nproc)
CMAKE_FLAGS = -G Ninja -Wno-dev

.PHONY: all deps build build-asan test demo bench clean

all: build

deps:
	@scripts/install-deps

build: deps
	@cmake -S . -B build $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build build -j $(JOBS)

build-asan: deps
	@cmake -S . -B build-asan $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPICTURE_SANITIZE=ON >/dev/null
	@cmake --build build-asan -j $(JOBS)

# The whole suite twice: optimised, then under AddressSanitizer and
# UndefinedBehaviorSanitizer. The last line is ctest's summary.
test: build build-asan
	@echo "== optimised build"
	@ctest --test-dir build -j $(JOBS) --output-on-failure
	@echo "== sanitizer build"
	@ASAN_OPTIONS=detect_leaks=1 ctest --test-dir build-asan -j $(JOBS) --output-on-failure

# Only the tool and the plug-in it runs: the gallery page of every method and class.
demo: deps
	@cmake -S . -B build $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build build -j $(JOBS) --target picture-host picture_plugin
	@./build/picture-host gallery build/demo

bench: build
	@./build/picture_bench

clean:
	rm -rf build build-asan
