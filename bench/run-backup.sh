#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# Backs up workspaces of zyr-cloud with zyr-bench-backup (the backup worker,
# its own queue and cache) and fetches the same files with curl, from the
# same server onto the same disk: a workspace of many small files, then one
# of a single large file. Prints both throughputs, the backup's peak resident
# memory, and where the small files' time goes.
#
#   bench/run-backup.sh [BUILD_DIR]
#
# BUILD_DIR defaults to ./build. Environment:
#   FILES       small files (default 2000), FILE_KIB their size (64)
#   BIG_MIB     size of the large file (default 1024)
#   ROUNDS      runs of the large-file backup and of curl, alternating which
#               goes first; the median counts (default 3)
#   DIAGNOSE=1  also back up the small files without the queue's pause after
#               each completion, to show where the rest of the time goes
#   BENCH_TMP   directory for the data (default: a new one below /tmp)
set -euo pipefail

here="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$here/build}"
files="${FILES:-2000}"
file_kib="${FILE_KIB:-64}"
big_mib="${BIG_MIB:-1024}"
rounds="${ROUNDS:-3}"
server_bin="$build/server/zyr-cloud"
bench_bin="$build/bench/zyr-bench-backup"
for f in "$server_bin" "$bench_bin"; do
  [[ -x "$f" ]] || { echo "missing $f (build the targets zyr-cloud and zyr-bench-backup)" >&2; exit 2; }
done

# A seed of two workspaces; the server generates the files' bytes.
seed="$(mktemp "${BENCH_TMP:-/tmp}/zyr-bench-backup-seed.XXXXXX")"
python3 - "$files" "$((file_kib * 1024))" "$((big_mib * 1048576))" >"$seed" <<'EOF'
import json, sys
files, size, big = (int(a) for a in sys.argv[1:4])
member = [{"userId": "u-alice", "role": "CREATOR"}]
small = [{"type": "file", "name": "f%05d.bin" % i, "size": size} for i in range(files)]
json.dump({"users": [{"id": "u-alice", "account": "alice", "password": "alice-pass", "displayName": "Alice"}],
           "workspaces": [
               {"id": "w-small", "name": "Small", "members": member,
                "tree": [{"type": "folder", "name": "small", "children": small}]},
               {"id": "w-big", "name": "Big", "members": member,
                "tree": [{"type": "file", "name": "big.bin", "size": big}]}]}, sys.stdout)
EOF
source "$here/bench/common.sh"
t0=$(date +%s.%N)
start_cloud "$server_bin" "$seed" zyr-bench-backup
rm -f "$seed"
echo "zyr-cloud at $base, seeded in $(awk -v a="$t0" -v b="$(date +%s.%N)" 'BEGIN {printf "%.1f", b-a}') s;" \
     "$(nproc) cores, $(sed -n 's/^model name\s*: //p' /proc/cpuinfo | head -1)"
echo "data directory and backups on: $(df -h "$work" | awk 'NR==2 {print $1}')"
echo

since() { awk -v a="$1" -v b="$(now)" 'BEGIN {print b-a}'; }

# The backup under /usr/bin/time; its line of figures goes to $work/backup.log.
backup() {
  sync
  /usr/bin/time -v -o "$work/time.log" "$bench_bin" --server "$base" --token "$token" "$@" >"$work/backup.log"
}

# ---- many small files ------------------------------------------------------
total=$((files * file_kib * 1024))
echo "small files: $files of $file_kib KiB ($(mibps "$total" 1) MiB) in one folder"
curl -sf -H "$auth" "$base/api/v1/workspaces/w-small/children?path=%2Fsmall" >"$work/list.json"
mkdir -p "$work/curl-small"
python3 - "$work/list.json" "$base/api/v1/workspaces/w-small" "$work/curl-small" >"$work/down.cfg" <<'EOF'
import json, sys
listing, api, target = sys.argv[1:4]
for item in json.load(open(listing))["items"]:
    print('url = "%s/files/%s/content"' % (api, item["id"]))
    print('output = "%s/%s"' % (target, item["name"]))
EOF
sync
t=$(now)
# As many transfers at once as the backup's queue runs.
curl -sf --no-progress-meter -Z --parallel-max 5 -K "$work/down.cfg" -H "$auth"
curl_s=$(since "$t")

mirror="$work/backup-small/u-alice_Alice/w-small_Small/small"
backup --workspace w-small --out "$work/backup-small"
diff -rq "$work/curl-small" "$mirror" >/dev/null || { echo "the backup differs from curl's copy" >&2; exit 1; }
first_s="$(field seconds "$work/backup.log")"; first_rss="$(peak "$work/time.log")"
printf '  curl      %8.1f MiB/s %7.1f files/s\n' "$(mibps "$total" "$curl_s")" \
  "$(awk -v n="$files" -v s="$curl_s" 'BEGIN {print n/s}')"
printf '  backup    %8.1f MiB/s %7.1f files/s   ratio %s   pauses %s s = %s of the time   peak RSS %s MiB\n' \
  "$(field MiBps "$work/backup.log")" "$(field filesPerSecond "$work/backup.log")" "$(ratio "$curl_s" "$first_s")" \
  "$(field completionPauseSeconds "$work/backup.log")" "$(field completionPauseShare "$work/backup.log")" "$first_rss"
backup --workspace w-small --out "$work/backup-small"
[[ "$(field downloaded "$work/backup.log")" == 0 ]] || { echo "the second backup downloaded again" >&2; exit 1; }
echo "  second backup, everything current in the cache: $(field seconds "$work/backup.log") s" \
     "(listing and cache look-ups only), peak RSS $(peak "$work/time.log") MiB"
if [[ "${DIAGNOSE:-0}" == 1 ]]; then
  backup --workspace w-small --out "$work/backup-nopause" --no-completion-pause
  echo "  without the queue's pause (diagnostic only): $(field seconds "$work/backup.log") s," \
       "$(field filesPerSecond "$work/backup.log") files/s"
fi
rm -rf "$work/curl-small" "$work/backup-small" "$work/backup-small.db" "$work/backup-nopause" "$work/backup-nopause.db"
echo

# ---- one large file --------------------------------------------------------
bytes=$((big_mib * 1048576))
id="$(curl -sf -H "$auth" "$base/api/v1/workspaces/w-big/meta?path=%2Fbig.bin" | json data id)"
declare -a cs=() bs=() brss=()
curl_big() {
  rm -f "$work/curl.bin"; sync
  local t
  t=$(curl -sf -o "$work/curl.bin" -w '%{time_total}' -H "$auth" "$base/api/v1/workspaces/w-big/files/$id/content")
  cs+=("$(mibps "$bytes" "$t")")
}
backup_big() {
  rm -rf "$work/backup-big" "$work/backup-big.db"
  backup --workspace w-big --out "$work/backup-big"
  bs+=("$(field MiBps "$work/backup.log")"); brss+=("$(peak "$work/time.log")")
  cmp -s "$work/curl.bin" "$work/backup-big/u-alice_Alice/w-big_Big/big.bin" \
    || { echo "the backup differs from curl's copy" >&2; exit 1; }
}
curl_big
for round in $(seq 1 "$rounds"); do
  if (( round % 2 )); then backup_big; curl_big; else curl_big; backup_big; fi
  echo "  ${big_mib} MiB round $round: curl ${cs[-1]} / backup ${bs[-1]} MiB/s  (load $(cut -d' ' -f1 /proc/loadavg))"
done
mc=$(printf '%s\n' "${cs[@]:1}" | median); mb=$(printf '%s\n' "${bs[@]}" | median)
printf '%s MiB file, median of %s: curl %8.1f MiB/s   backup %8.1f MiB/s   ratio %s   backup peak RSS %s MiB\n' \
  "$big_mib" "$rounds" "$mc" "$mb" "$(ratio "$mb" "$mc")" "$(printf '%s\n' "${brss[@]}" | sort -g | tail -1)"
