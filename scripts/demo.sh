#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# Starts the local cloud server on a temporary directory and runs the
# command-line client's main job against it.
set -euo pipefail
cd "$(dirname "$0")/.."

# Said before anything is installed or built.
if [ ! -f apps/CMakeLists.txt ]; then
  echo "make demo needs the command-line client (apps/zyr), which is not written yet."
  echo "Until it is, 'make test' runs the client libraries against the local server."
  exit 1
fi

make --no-print-directory build
