# Thin wrapper over CMake. Each command bootstraps the Debian packages it needs first.
JOBS    ?= $(shell nproc)
PREFIX  ?= /usr/local
DESTDIR ?=
FUZZ_SECONDS ?= 30
EMULATE32 ?=

BUILD_DEBUG   := build/debug
BUILD_RELEASE := build/release
BUILD_CHECK   := build/check
BUILD_CHECK32 := build/check32

.PHONY: all bootstrap build-debug release demo test check check32 bench install clean

all: test

bootstrap:
	@scripts/bootstrap.sh

test: build-debug
	cd $(BUILD_DEBUG) && ctest --output-on-failure -j $(JOBS)

build-debug: bootstrap
	cmake -S . -B $(BUILD_DEBUG) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DEBUG) -j $(JOBS)

release: bootstrap
	cmake -S . -B $(BUILD_RELEASE) -DCMAKE_BUILD_TYPE=Release -DVXTRACE_BENCH=ON \
	      -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	cmake --build $(BUILD_RELEASE) -j $(JOBS)

demo: release
	scripts/demo.sh $(BUILD_RELEASE)

# Sanitizer build and its tests, the fuzzers for a while, then the unit tests of the regular
# build under valgrind memcheck (the two checkers do not mix in one build).
check: bootstrap build-debug
	CC=clang CXX=clang++ cmake -S . -B $(BUILD_CHECK) -DCMAKE_BUILD_TYPE=Debug \
	      -DVXTRACE_SANITIZE=ON -DVXTRACE_FUZZ=ON
	cmake --build $(BUILD_CHECK) -j $(JOBS)
	cd $(BUILD_CHECK) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	      UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS)
	scripts/run-fuzzers.sh $(BUILD_CHECK) $(FUZZ_SECONDS)
	TZ=UTC valgrind --error-exitcode=9 --leak-check=full --errors-for-leak-kinds=definite --quiet \
	      $(BUILD_DEBUG)/tests/vxtrace_tests --gtest_filter=-*DeathTest* --gtest_brief=1

# The logger's own target: a 32-bit x86 build of library, tool and tests, the whole suite run on
# it, and its exports compared with those of the host build's library. A host whose kernel does
# not run i386 programs (or EMULATE32=1) runs every 32-bit program through qemu-i386.
check32: bootstrap
	@EMULATE32=$(EMULATE32) scripts/bootstrap.sh 32
	cmake -S . -B $(BUILD_DEBUG) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD_DEBUG) -j $(JOBS) --target vxtrace
	@emulator=$$(EMULATE32=$(EMULATE32) scripts/emulator32.sh) && \
	if [ -n "$$emulator" ]; then echo "check32: 32-bit programs run emulated through $$emulator"; \
	else echo "check32: 32-bit programs run natively"; fi && \
	cmake -S . -B $(BUILD_CHECK32) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	      -DCMAKE_TOOLCHAIN_FILE=cmake/i386-linux-gnu.cmake \
	      -DVXTRACE_EMULATOR="$$emulator" \
	      -DVXTRACE_ABI_REFERENCE=$(CURDIR)/$(BUILD_DEBUG)/libvxtrace.so
	cmake --build $(BUILD_CHECK32) -j $(JOBS)
	cd $(BUILD_CHECK32) && ctest --output-on-failure -j $(JOBS)

bench: release
	$(BUILD_RELEASE)/bench/vxtrace_bench --benchmark_counters_tabular=true

install: release
	DESTDIR=$(DESTDIR) cmake --install $(BUILD_RELEASE) --prefix $(PREFIX)

clean:
	rm -rf build
