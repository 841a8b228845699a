# kwa: `make demo` builds the release configuration and runs `kwa info`;
# `make check` builds and tests the release and sanitizer configurations and
# cross-builds the Windows DLL. Both first make sure the build tools exist.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
MINGW_OBJDUMP ?= i686-w64-mingw32-objdump

.PHONY: all demo check deps release asan mingw test-release test-asan clean

all: release

deps:
	tools/setup-deps.sh

release: deps
	cmake --preset release
	cmake --build --preset release -j $(JOBS)

asan: deps
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)

# The DLL must export exactly the functions that kwa.h declares.
mingw: deps
	cmake --preset mingw
	cmake --build --preset mingw -j $(JOBS)
	cmake -DOBJDUMP=$(MINGW_OBJDUMP) -DLIBRARY=build/mingw/qkw4n304.dll \
	  -DHEADER=include/kwa.h -P cmake/check_exports.cmake

demo: release
	build/release/tools/kwa/kwa info

test-release: release
	ctest --preset release -j $(JOBS)

test-asan: asan
	ctest --preset asan -j $(JOBS)

check: test-release test-asan mingw

clean:
	rm -rf build
