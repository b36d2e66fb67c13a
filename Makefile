# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# make test   installs what is missing, builds once with AddressSanitizer,
#             LeakSanitizer and UndefinedBehaviorSanitizer, warnings as
#             errors, and runs every test in that build
# make demo   the local cloud server on a temporary directory and the
#             command-line client's main job against it
# make build  the plain optimised build (demo, benchmarks)
# make check  the plain build's tests (a quick local loop)
# make tsan   every test under ThreadSanitizer
# make fuzz   the fuzz targets, each for FUZZ_SECONDS (docs/testing.md)
# make bench  the benchmarks (bench/README.md)
# make format the whole tree through clang-format

JOBS    ?= $(shell nproc)
CTEST   := ctest --output-on-failure --timeout 300 -j $(JOBS)
CONFIG  := -G Ninja -DZYR_WERROR=ON

.PHONY: deps build check asan tsan test demo bench fuzz format clean

deps:
	@bash scripts/install-deps.sh

build: deps
	cmake -S . -B build $(CONFIG) -DCMAKE_BUILD_TYPE=Release >/dev/null
	cmake --build build -j $(JOBS)

check: build
	cd build && $(CTEST)

asan: deps
	cmake -S . -B build-asan $(CONFIG) -DCMAKE_BUILD_TYPE=Debug -DZYR_SANITIZE="address;undefined" >/dev/null
	cmake --build build-asan -j $(JOBS)
	cd build-asan && $(CTEST)

tsan: deps
	cmake -S . -B build-tsan $(CONFIG) -DCMAKE_BUILD_TYPE=Debug -DZYR_SANITIZE=thread >/dev/null
	cmake --build build-tsan -j $(JOBS)
	cd build-tsan && TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 die_after_fork=0 suppressions=$(CURDIR)/tests/tsan.supp" $(CTEST)

test: asan

demo:
	@bash scripts/demo.sh

fuzz:
	@bash scripts/fuzz.sh

bench: build
	@bash bench/run.sh

format:
	git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format -i

clean:
	rm -rf build build-asan build-tsan build-fuzz
