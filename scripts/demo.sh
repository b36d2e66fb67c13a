#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# Starts the local cloud server on a temporary directory and runs the
# command-line client's main job against it: sign in, list, upload a folder
# with progress, download it back, compare the bytes, share, sign out.
# Everything (server data, the client's settings, session and store) lives
# in one temporary directory that is removed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."

make --no-print-directory build

zyr_bin="$PWD/build/apps/zyr/zyr"
server_bin="$PWD/build/server/zyr-cloud"
work="$(mktemp -d "${TMPDIR:-/tmp}/zyr-demo.XXXXXX")"
server_pid=""

finish() {
  if [ -n "$server_pid" ]; then
    kill -TERM "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap finish EXIT

bold=""; plain=""
if [ -t 1 ]; then bold=$'\e[1m'; plain=$'\e[0m'; fi
say() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }
# Shows a zyr command as typed, then runs it.
zyr() {
  printf '%s$ zyr %s%s\n' "$bold" "$*" "$plain"
  (cd "$work" && "$zyr_bin" "$@")
}

say "Starting zyr-cloud on a temporary directory with the sample seed"
"$server_bin" --port 0 --data "$work/server" --seed server/seed/sample-seed.json \
  >"$work/server.out" 2>"$work/server.log" &
server_pid=$!
for _ in $(seq 100); do
  grep -q '^listening on ' "$work/server.out" 2>/dev/null && break
  kill -0 "$server_pid" 2>/dev/null || { cat "$work/server.log" >&2; exit 1; }
  sleep 0.1
done
address="$(sed -n 's/^listening on //p' "$work/server.out")"
[ -n "$address" ] || { echo "zyr-cloud did not start" >&2; cat "$work/server.log" >&2; exit 1; }
echo "zyr-cloud listens on $address"

# The client keeps its settings, session and transfer store here, never in
# the user's own configuration.
export ZYR_SERVER="http://$address"
export XDG_CONFIG_HOME="$work/config"
export ZYR_DATA_DIR="$work/data"

say "Sign in (the password comes from stdin; on a terminal zyr asks for it)"
printf '%s$ echo alice-pass | zyr login alice%s\n' "$bold" "$plain"
echo alice-pass | "$zyr_bin" login alice

say "The account's workspaces, and the default one's root with size, date, revision and privileges"
zyr workspaces
zyr ls -l /

say "Upload a folder of generated files through the transfer queue"
mkdir -p "$work/photos/raw"
for i in $(seq 1 8); do
  head -c $((i * 700 * 1024 + i * 37)) /dev/urandom >"$work/photos/IMG_$((4000 + i)).jpg"
done
for i in 1 2 3 4; do
  head -c $((i * 1500 * 1024)) /dev/urandom >"$work/photos/raw/IMG_$((4000 + i)).dng"
done
zyr mkdir /Photos
zyr put photos /Photos
zyr tree /Photos

say "Download it back and compare the bytes"
zyr get /Photos/photos restored
if diff -r "$work/photos" "$work/restored/photos" >/dev/null; then
  echo "identical: $(find "$work/photos" -type f | wc -l) files, $(du -sh "$work/photos" | cut -f1)"
else
  echo "the downloaded files differ from the uploaded ones" >&2
  exit 1
fi

say "Share one picture: a link with a password that expires in a week"
zyr share create /Photos/photos/IMG_4001.jpg --password --expires 7d

say "Sign out"
zyr logout

say "Stopping zyr-cloud"
kill -TERM "$server_pid"
wait "$server_pid"
server_pid=""
echo "Done. Next: the README's session with zyr, 'zyr --help', 'man build/apps/zyr/zyr.1'."
