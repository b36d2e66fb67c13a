#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# Builds the libFuzzer targets with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs each for FUZZ_SECONDS (300 by
# default) from its seed corpus under tests/fuzz/corpus/<target>/. Findings
# (crash-*, leak-*, timeout-*) are written to build-fuzz/findings/; any
# finding makes the script fail.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh fuzz

seconds=${FUZZ_SECONDS:-300}
cmake -S . -B build-fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZYR_FUZZ=ON -DZYR_SANITIZE="address;undefined" -DZYR_PRECOMPILE=OFF >/dev/null
cmake --build build-fuzz -j "$(nproc)"

findings=build-fuzz/findings
mkdir -p "$findings"
status=0
for target in $(find build-fuzz/tests/fuzz -type f -executable -name 'fuzz_*' | sort); do
  name=$(basename "$target")
  work=build-fuzz/corpus/$name
  mkdir -p "$work"
  echo "== $name for ${seconds}s"
  if ! "$target" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$findings/$name-" \
       "$work" "tests/fuzz/corpus/$name" 2>&1 | tail -n 15; then
    status=1
  fi
done
exit $status
