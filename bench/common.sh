# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# Sourced by the run-*.sh benchmarks: starts zyr-cloud on a temporary
# directory and signs in.
#
#   start_cloud SERVER_BIN SEED NAME
#
# sets work (the temporary directory, removed on exit), server_pid, base
# (http://127.0.0.1:<port>), token and auth (the Authorization header), and
# defines json: a member of the JSON on stdin, json data id -> stdin["data"]["id"].
#
# Also the small helpers every benchmark prints with: median (of the numbers
# on stdin), mibps BYTES SECONDS, ratio A B, peak TIME_V_LOG (peak resident
# set size in MiB from a /usr/bin/time -v log), now (seconds since the epoch),
# field NAME FILE (the value of NAME=value in a benchmark program's line).

json() { python3 -c 'import json, sys
d = json.load(sys.stdin)
for key in sys.argv[1:]: d = d[key]
print(d)' "$@"; }

median() { sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
mibps() { awk -v b="$1" -v s="$2" 'BEGIN {printf "%.1f", b/1048576/s}'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN {printf "%.2f", a/b}'; }
peak() { awk -F': ' '/Maximum resident set size/ {printf "%.1f", $2/1024}' "$1"; }
now() { date +%s.%N; }
field() { sed -n "s/.* $1=\([^ ]*\).*/\1/p; s/^$1=\([^ ]*\).*/\1/p" "$2"; }

cleanup_cloud() {
  [[ -n "${server_pid:-}" ]] && kill -TERM "$server_pid" 2>/dev/null && wait "$server_pid" 2>/dev/null || true
  [[ -n "${work:-}" ]] && rm -rf "$work"
}

start_cloud() {
  local server_bin="$1" seed="$2" name="$3"
  work="$(mktemp -d "${BENCH_TMP:-/tmp}/$name.XXXXXX")"
  server_pid=""
  trap cleanup_cloud EXIT

  "$server_bin" --port 0 --data "$work/data" --seed "$seed" >"$work/server.out" 2>"$work/server.err" &
  server_pid=$!
  for _ in $(seq 1 300); do
    grep -q '^listening on ' "$work/server.out" 2>/dev/null && break
    sleep 0.1
  done
  local address
  address="$(sed -n 's/^listening on //p' "$work/server.out")"
  [[ -n "$address" ]] || { echo "zyr-cloud did not start:" >&2; cat "$work/server.err" >&2; exit 1; }
  base="http://$address"
  token="$(curl -sf -H 'Content-Type: application/json' -d '{"account":"alice","password":"alice-pass"}' \
    "$base/api/v1/auth/login" | json accessToken)"
  [[ -n "$token" ]] || { echo "sign-in failed" >&2; exit 1; }
  auth="Authorization: Bearer $token"
}
