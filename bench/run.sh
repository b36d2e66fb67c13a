#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# `make bench`: runs every bench/run-*.sh against the build in ./build.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
build="${1:-$here/../build}"
cmake --build "$build" --target zyr-cloud zyr-bench-service >/dev/null
for script in "$here"/run-*.sh; do
  echo "== $(basename "$script")"
  bash "$script" "$build"
done
