# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# make test   installs what is missing, builds, runs every test (plain build,
#             then the AddressSanitizer + UndefinedBehaviorSanitizer build)
# make build  the plain build only
# make check  the plain build's tests only (quick local loop)
# make asan   the sanitizer build's tests only
# make tsan   every test under ThreadSanitizer
# make demo   the local cloud server on a temporary directory and the
#             command-line client's main job against it
# make bench  the transfer benchmarks (bench/README.md)

JOBS    ?= $(shell nproc)
CTEST   := ctest --output-on-failure --timeout 300 -j $(JOBS)
CONFIG  := -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZYR_WERROR=ON

.PHONY: deps build check asan tsan test demo bench clean

deps:
	@bash scripts/install-deps.sh

build: deps
	cmake -S . -B build $(CONFIG) >/dev/null
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

test: check asan

demo: build
	@bash scripts/demo.sh

bench: build
	@bash bench/run.sh

clean:
	rm -rf build build-asan build-tsan
