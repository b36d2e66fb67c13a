#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# `make bench` (which builds first): runs every bench/run-*.sh against the
# build in ./build, or the build directory given.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
build="${1:-$here/../build}"
for script in "$here"/run-*.sh; do
  echo "== $(basename "$script")"
  bash "$script" "$build"
done
