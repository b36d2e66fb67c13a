#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# A folder of many children listed through the cloud manager
# (zyr-bench-cloud: queryChildren, the listing plus one privilege request per
# child, until queryChildrenFinished), next to curl sending the same requests
# over keep-alive connections: one connection, and six at once (as many as
# QNetworkAccessManager opens to one host). Prints the times, requests per
# second, the ratio, the CPU time each client used (user + system; less
# sensitive than elapsed time to other load on the machine) and the manager's
# peak resident memory.
#
#   bench/run-cloud.sh [BUILD_DIR]
#
# BUILD_DIR defaults to ./build. Environment: CHILDREN (default 10000),
# ROUNDS (default 3; the median counts), BENCH_TMP (default /tmp).
set -euo pipefail

here="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$here/build}"
children="${CHILDREN:-10000}"
rounds="${ROUNDS:-3}"
server_bin="$build/server/zyr-cloud"
bench_bin="$build/bench/zyr-bench-cloud"
for f in "$server_bin" "$bench_bin"; do
  [[ -x "$f" ]] || { echo "missing $f (build the targets zyr-cloud and zyr-bench-cloud)" >&2; exit 2; }
done

seed="$(mktemp "${BENCH_TMP:-/tmp}/zyr-bench-cloud-seed.XXXXXX")"
python3 - "$here/server/seed/sample-seed.json" "$children" >"$seed" <<'PY'
import json, sys
seed = json.load(open(sys.argv[1]))
files = [{"type": "file", "id": "b-%06d" % i, "name": "f%06d.txt" % i, "content": "x"}
         for i in range(int(sys.argv[2]))]
seed["workspaces"].append({"id": "w-bench", "name": "Bench", "members": [{"userId": "u-alice", "role": "CREATOR"}],
                           "tree": [{"type": "folder", "id": "b-big", "name": "big", "children": files}]})
json.dump(seed, sys.stdout)
PY
source "$here/bench/common.sh"
start_cloud "$server_bin" "$seed" zyr-bench-cloud
rm -f "$seed"
api="$base/api/v1/workspaces/w-bench"
requests=$((children + 1))

# The same requests for curl, in one config file.
{
  echo "url = \"$api/children?id=b-big\""; echo 'output = "/dev/null"'
  for ((i = 0; i < children; i++)); do
    printf 'url = "%s/privileges?id=b-%06d"\noutput = "/dev/null"\n' "$api" "$i"
  done
} >"$work/curl.cfg"

cpu() { awk '{printf "%.2f", $1 + $2}' "$work/cpu"; } # of the last timed command
timed() { /usr/bin/time -o "$work/cpu" -f '%U %S' "$@"; }
curl_run() { # extra curl options; prints seconds
  local start end
  start=$(now)
  timed curl -sf --no-progress-meter -H "$auth" "$@" -K "$work/curl.cfg"
  end=$(now)
  awk -v a="$start" -v b="$end" 'BEGIN {printf "%.3f", b - a}'
}

echo "zyr-cloud at $base; $(nproc) cores, $(sed -n 's/^model name\s*: //p' /proc/cpuinfo | head -1)"
echo "$children children: 1 listing + $children privilege requests = $requests requests per round, $rounds rounds"
echo "load before: $(cut -d' ' -f1-3 /proc/loadavg)"
declare -a manager=() one=() six=() manager_cpu=() one_cpu=() six_cpu=()
for ((r = 1; r <= rounds; r++)); do
  line="$(timed "$bench_bin" --server "$base" --data "$work/client-$r" --workspace w-bench --folder big)"
  manager_cpu+=("$(cpu)")
  echo "  manager: $line cpu=${manager_cpu[-1]}"
  manager+=("$(sed -n 's/.* seconds=\([^ ]*\).*/\1/p' <<<"$line")")
  peak="$(sed -n 's/.* peak_mib=\([^ ]*\).*/\1/p' <<<"$line")"
  before="$(sed -n 's/.* rss_before_mib=\([^ ]*\).*/\1/p' <<<"$line")"
  one+=("$(curl_run)")
  one_cpu+=("$(cpu)")
  six+=("$(curl_run -Z --parallel-max 6)")
  six_cpu+=("$(cpu)")
  echo "  curl: one connection ${one[-1]} s (cpu ${one_cpu[-1]}), six connections ${six[-1]} s (cpu ${six_cpu[-1]})"
done
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
m=$(printf '%s\n' "${manager[@]}" | median)
c1=$(printf '%s\n' "${one[@]}" | median)
c6=$(printf '%s\n' "${six[@]}" | median)
rate() { awk -v n="$requests" -v s="$1" 'BEGIN {printf "%.0f", n / s}'; }
echo
mid() { printf '%s\n' "$@" | median; }
printf '%-28s %8s s %8s req/s  cpu %s s\n' "cloud manager (process)" "$m" "$(rate "$m")" "$(mid "${manager_cpu[@]}")"
printf '%-28s %8s s %8s req/s  cpu %s s\n' "curl, 1 keep-alive conn." "$c1" "$(rate "$c1")" "$(mid "${one_cpu[@]}")"
printf '%-28s %8s s %8s req/s  cpu %s s\n' "curl, 6 keep-alive conns." "$c6" "$(rate "$c6")" "$(mid "${six_cpu[@]}")"
awk -v m="$m" -v a="$c1" -v b="$c6" 'BEGIN {printf "ratio manager / curl: %.2f (1 conn.), %.2f (6 conns.)\n", m / a, m / b}'
echo "manager peak RSS (whole process): $peak MiB; before the listing: $before MiB"
awk -v m="$m" 'BEGIN {exit !(m < 2.0)}' && echo "target (< 2 s): met" || echo "target (< 2 s): NOT met"
