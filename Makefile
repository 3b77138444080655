# Two entry points for a fresh Debian machine: `make demo` and `make test`.
# Each installs whatever Debian package is missing, then configures and builds
# with CMake and Ninja.
JOBS ?= $(shell nproc)
# CI treats every warning as an error.
WERROR ?= $(if $(CI),ON,OFF)
CMAKE_FLAGS = -G Ninja -Wno-dev -DPICTURE_WERROR=$(WERROR)
# Builds print only what the compiler says; NINJA_FLAGS= brings the progress lines back.
NINJA_FLAGS ?= --quiet

FUZZ_SECONDS ?= 60
FUZZ_TARGETS = call call:console call:old binary_string binary_string:old render channel_table lut3d

.PHONY: all deps build build-asan test demo bench fuzz soak clean

all: build

deps:
	@scripts/install-deps

build: deps
	@echo "== building: optimised (build/)"
	@cmake -S . -B build $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build build -j $(JOBS) -- $(NINJA_FLAGS)

build-asan: deps
	@echo "== building: sanitizers (build-asan/)"
	@cmake -S . -B build-asan $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=Sanitize -DPICTURE_SANITIZE=ON >/dev/null
	@cmake --build build-asan -j $(JOBS) -- $(NINJA_FLAGS)

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
	@cmake --build build -j $(JOBS) --target picture-host picture_plugin -- $(NINJA_FLAGS)
	@./build/picture-host gallery build/demo

bench: build
	@./build/picture_bench

# libFuzzer (clang, address and undefined-behaviour checks) on every entry-point
# family, FUZZ_SECONDS each, from the stored corpora; findings in build-fuzz/findings.
fuzz: deps
	@cmake -S . -B build-fuzz $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang >/dev/null
	@cmake --build build-fuzz -j $(JOBS) --target call_fuzz binary_string_fuzz render_fuzz channel_table_fuzz lut3d_fuzz
	@scripts/run-fuzz build-fuzz $(FUZZ_SECONDS) $(FUZZ_TARGETS)

# 100,000 random calls in one process, the ledger checked after each, resident memory shown.
soak: build
	@./build/fuzz/soak

clean:
	rm -rf build build-asan build-fuzz
