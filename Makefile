# Every command of the README. Each installs what is missing first (packaging/install-deps), so that it works on a fresh
# Debian 12; QRN_NO_INSTALL=1 leaves the machine's packages alone.
JOBS ?= $(shell nproc)
SECONDS_PER_CALL ?= 3
FUZZ_SECONDS ?= 60
CTEST = ctest --output-on-failure --no-tests=error -j $(JOBS)
INSTALL_DEPS = @packaging/install-deps

.PHONY: build demo test asan tsan lint bench fuzz package clean

build:
	$(INSTALL_DEPS) run
	@cmake --preset release -DQRN_BUILD_TESTS=OFF -B build/release > build-configure.log 2>&1 || { cat build-configure.log; exit 1; }
	@rm -f build-configure.log
	@cmake --build build/release -- -j $(JOBS)

# Twelve calls through the real filters over loopback: every codec, one and two channels.
demo: build
	@packaging/demo build/release/qrn $(SECONDS_PER_CALL)

test:
	$(INSTALL_DEPS) test
	cmake --preset release -DQRN_BUILD_TESTS=ON
	cmake --build build/release -- -j $(JOBS)
	cd build/release && $(CTEST)

asan:
	$(INSTALL_DEPS) test
	cmake --preset asan
	cmake --build build/asan -- -j $(JOBS)
	cd build/asan && $(CTEST)

tsan:
	$(INSTALL_DEPS) test
	cmake --preset tsan
	cmake --build build/tsan -- -j $(JOBS)
	cd build/tsan && $(CTEST)

# Formatting, the rule of who may include whom, clang's warnings with its thread-safety analysis, clang-tidy.
lint:
	$(INSTALL_DEPS) lint
	packaging/lint $(JOBS)

bench:
	$(INSTALL_DEPS) bench
	cmake --preset bench
	cmake --build build/bench -- -j $(JOBS)
	packaging/run-benches build/bench

fuzz:
	$(INSTALL_DEPS) fuzz
	cmake --preset fuzz
	cmake --build build/fuzz --target fuzzers -- -j $(JOBS)
	packaging/run-fuzzers build/fuzz $(FUZZ_SECONDS)

package:
	$(INSTALL_DEPS) package
	cmake --preset release
	cmake --build build/release -- -j $(JOBS)
	cd build/release && cpack

clean:
	rm -rf build
