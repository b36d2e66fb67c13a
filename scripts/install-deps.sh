#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# Installs the Debian 12 packages the project builds and tests with.
# Only missing packages are installed, so a second run costs one dpkg query.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools libqt6sql6-sqlite
  libcpp-httplib-dev libsqlite3-dev libssl-dev zlib1g-dev nlohmann-json3-dev
  libcli11-dev libglib2.0-dev shared-mime-info
  curl
  # The benchmarks: peak memory through /usr/bin/time, seeds and listings through python3.
  time python3
)
# scripts/fuzz.sh: clang's libFuzzer.
if [ "${1:-}" = "fuzz" ]; then
  packages+=(clang-14 libfuzzer-14-dev libclang-rt-14-dev)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
