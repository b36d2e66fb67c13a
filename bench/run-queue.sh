#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# Upload and download through zyr-cloud with curl and with zyr-bench-queue
# (the transfer queue), on the same server and the same disk: one large file
# at each size given, then a folder of many small files. Prints both
# throughputs, their ratio and the queue's peak resident memory.
#
#   bench/run-queue.sh [BUILD_DIR] [SIZES_MIB...]
#
# BUILD_DIR defaults to ./build; sizes default to "1024 256". Environment:
#   ROUNDS      runs of each large-file transfer, alternating which client
#               goes first; the median counts (default 3)
#   FILES       files in the folder (default 2000), FILE_KIB their size (64)
#   DIAGNOSE=1  also run the folder without the queue's pause after each
#               completion, to show where the rest of the time goes
#   BENCH_TMP   directory for the data (default: a new one below /tmp)
#
# The folder with curl: curl's parallel mode (-Z) with at most 5 transfers
# at once, as many as the queue runs, all named in one config file, so
# neither side pays for starting a process per file.
set -euo pipefail

here="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$here/build}"
shift || true
sizes=("$@")
[[ $# -eq 0 ]] && sizes=(1024 256)
rounds="${ROUNDS:-3}"
files="${FILES:-2000}"
file_kib="${FILE_KIB:-64}"
server_bin="$build/server/zyr-cloud"
bench_bin="$build/bench/zyr-bench-queue"
seed="$here/server/seed/sample-seed.json"
for f in "$server_bin" "$bench_bin"; do
  [[ -x "$f" ]] || { echo "missing $f (build the targets zyr-cloud and zyr-bench-queue)" >&2; exit 2; }
done

source "$here/bench/common.sh"
start_cloud "$server_bin" "$seed" zyr-bench-queue
api="$base/api/v1/workspaces/w-design"


# The queue under /usr/bin/time; its line of figures goes to $work/queue.log.
queue() {
  sync
  /usr/bin/time -v -o "$work/time.log" "$bench_bin" --server "$base" "$@" >"$work/queue.log"
}

echo "zyr-cloud at $base; $(nproc) cores, $(sed -n 's/^model name\s*: //p' /proc/cpuinfo | head -1)"
echo "data directory and downloads on: $(df -h "$work" | awk 'NR==2 {print $1}')"
echo

for mib in "${sizes[@]}"; do
  src="$work/src-$mib"
  mkdir -p "$src"
  file="$src/big-$mib.bin"
  bytes=$((mib * 1048576))
  head -c "$bytes" /dev/urandom >"$file"

  declare -a cu=() cd=() qu=() qd=() qu_rss=() qd_rss=() qun=() qdn=()
  curl_upload() {
    sync
    local t
    t=$(curl -sf -o "$work/curl-up.json" -w '%{time_total}' -T "$file" -H "$auth" -H 'Expect:' \
        -H 'Content-Type: application/octet-stream' \
        "$api/upload?parentPath=%2Fcurl&path=%2Fcurl%2Fbig-$mib.bin&size=$bytes&offset=0")
    cu+=("$(mibps "$bytes" "$t")")
    curl_id="$(json data id <"$work/curl-up.json")"
  }
  curl_download() {
    rm -f "$work/curl.out"; sync
    local t
    t=$(curl -sf -o "$work/curl.out" -w '%{time_total}' -H "$auth" "$api/files/$curl_id/content")
    cd+=("$(mibps "$bytes" "$t")")
    [[ $(stat -c %s "$work/curl.out") -eq $bytes ]] || { echo "curl download incomplete" >&2; exit 1; }
    rm -f "$work/curl.out"
  }
  queue_upload() {
    queue --upload "$file" --remote-parent /queue
    qu+=("$(field MiBps "$work/queue.log")"); qu_rss+=("$(peak "$work/time.log")")
    qun+=("$(field MiBpsWithoutPauses "$work/queue.log")")
  }
  queue_download() {
    rm -rf "$work/down"
    queue --download "/queue/big-$mib.bin" --out "$work/down"
    qd+=("$(field MiBps "$work/queue.log")"); qd_rss+=("$(peak "$work/time.log")")
    qdn+=("$(field MiBpsWithoutPauses "$work/queue.log")")
    cmp -s "$file" "$work/down/big-$mib.bin" || { echo "queue download differs from the upload" >&2; exit 1; }
    rm -rf "$work/down"
  }

  for round in $(seq 1 "$rounds"); do
    # Alternate who goes first, so that neither always inherits the other's
    # dirty pages and writeback.
    if (( round % 2 )); then
      curl_upload; queue_upload; curl_download; queue_download
    else
      queue_upload; curl_upload; queue_download; curl_download
    fi
    echo "  ${mib} MiB round $round: upload curl ${cu[-1]} / queue ${qu[-1]} MiB/s," \
         "download curl ${cd[-1]} / queue ${qd[-1]} MiB/s  (load $(cut -d' ' -f1 /proc/loadavg))"
  done
  mcu=$(printf '%s\n' "${cu[@]}" | median); mqu=$(printf '%s\n' "${qu[@]}" | median)
  mcd=$(printf '%s\n' "${cd[@]}" | median); mqd=$(printf '%s\n' "${qd[@]}" | median)
  mqun=$(printf '%s\n' "${qun[@]}" | median); mqdn=$(printf '%s\n' "${qdn[@]}" | median)
  echo "${mib} MiB file, median of $rounds (queue: to the Finished status / without its 100 ms pause):"
  printf '  upload    curl %8.1f MiB/s   queue %8.1f / %8.1f MiB/s   ratio %s / %s   queue peak RSS %s MiB\n' \
    "$mcu" "$mqu" "$mqun" "$(ratio "$mqu" "$mcu")" "$(ratio "$mqun" "$mcu")" \
    "$(printf '%s\n' "${qu_rss[@]}" | sort -g | tail -1)"
  printf '  download  curl %8.1f MiB/s   queue %8.1f / %8.1f MiB/s   ratio %s / %s   queue peak RSS %s MiB\n' \
    "$mcd" "$mqd" "$mqdn" "$(ratio "$mqd" "$mcd")" "$(ratio "$mqdn" "$mcd")" \
    "$(printf '%s\n' "${qd_rss[@]}" | sort -g | tail -1)"
  echo
  rm -rf "$src"
  unset cu cd qu qd qu_rss qd_rss qun qdn
done

# ---- a folder of many small files -------------------------------------------
folder="$work/folder/small"
mkdir -p "$folder"
for i in $(seq -w 1 "$files"); do
  head -c $((file_kib * 1024)) /dev/urandom >"$folder/f$i.bin"
done
total=$((files * file_kib * 1024))
echo "folder: $files files of $file_kib KiB ($(mibps "$total" 1) MiB)"

# curl, parallel mode: one config file naming every transfer.
: >"$work/up.cfg"
for f in "$folder"/*.bin; do
  n="$(basename "$f")"
  printf 'url = "%s/upload?parentPath=%%2Fcurl-small&path=%%2Fcurl-small%%2F%s&size=%s&offset=0"\nupload-file = "%s"\noutput = "/dev/null"\n' \
    "$api" "$n" "$((file_kib * 1024))" "$f" >>"$work/up.cfg"
done
sync
t0=$(now)
curl -sf --no-progress-meter -Z --parallel-max 5 -K "$work/up.cfg" -H "$auth" -H 'Expect:' -H 'Content-Type: application/octet-stream'
t1=$(now)
curl_up_s=$(awk -v a="$t0" -v b="$t1" 'BEGIN {print b-a}')

curl -sf -H "$auth" "$api/children?path=%2Fcurl-small" >"$work/list.json"
mkdir -p "$work/curl-small"
python3 - "$work/list.json" "$api" "$work/curl-small" >"$work/down.cfg" <<'EOF'
import json, sys
listing, api, target = sys.argv[1:4]
body = json.load(open(listing))
items = body.get("items") or body.get("data") or []
for item in items:
    print('url = "%s/files/%s/content"' % (api, item["id"]))
    print('output = "%s/%s"' % (target, item["name"]))
EOF
[[ $(grep -c '^url' "$work/down.cfg") -eq $files ]] || { echo "the curl folder lists $(grep -c '^url' "$work/down.cfg") files" >&2; exit 1; }
sync
t0=$(now)
curl -sf --no-progress-meter -Z --parallel-max 5 -K "$work/down.cfg" -H "$auth"
t1=$(now)
curl_down_s=$(awk -v a="$t0" -v b="$t1" 'BEGIN {print b-a}')
diff -rq "$folder" "$work/curl-small" >/dev/null || { echo "curl folder download differs" >&2; exit 1; }
rm -rf "$work/curl-small"

folder_round() { # label, extra options of the queue
  local label="$1"; shift
  queue --upload "$folder" --remote-parent "/$label" "$@"
  cp "$work/queue.log" "$work/qup.log"; local up_rss; up_rss="$(peak "$work/time.log")"
  rm -rf "$work/qdown"
  queue --download "/$label/small" --out "$work/qdown" --expect "$files" "$@"
  cp "$work/queue.log" "$work/qdown.log"; local down_rss; down_rss="$(peak "$work/time.log")"
  diff -rq "$folder" "$work/qdown/small" >/dev/null || { echo "queue folder download differs" >&2; exit 1; }
  rm -rf "$work/qdown"
  local qus qds
  qus="$(field seconds "$work/qup.log")"; qds="$(field seconds "$work/qdown.log")"
  printf '  upload    curl %8.1f MiB/s %7.1f files/s   queue %8.1f MiB/s %7.1f files/s   ratio %s   pauses %s s = %s of the time   peak RSS %s MiB\n' \
    "$(mibps "$total" "$curl_up_s")" "$(awk -v n="$files" -v s="$curl_up_s" 'BEGIN {print n/s}')" \
    "$(field MiBps "$work/qup.log")" "$(field filesPerSecond "$work/qup.log")" \
    "$(ratio "$curl_up_s" "$qus")" "$(field completionPauseSeconds "$work/qup.log")" \
    "$(field completionPauseShare "$work/qup.log")" "$up_rss"
  printf '  download  curl %8.1f MiB/s %7.1f files/s   queue %8.1f MiB/s %7.1f files/s   ratio %s   pauses %s s = %s of the time   peak RSS %s MiB\n' \
    "$(mibps "$total" "$curl_down_s")" "$(awk -v n="$files" -v s="$curl_down_s" 'BEGIN {print n/s}')" \
    "$(field MiBps "$work/qdown.log")" "$(field filesPerSecond "$work/qdown.log")" \
    "$(ratio "$curl_down_s" "$qds")" "$(field completionPauseSeconds "$work/qdown.log")" \
    "$(field completionPauseShare "$work/qdown.log")" "$down_rss"
}

echo "folder with the queue's own timings (100 ms pause after each completion):"
folder_round queue-small
if [[ "${DIAGNOSE:-0}" == 1 ]]; then
  echo "folder without the pause (diagnostic only; not how the client runs):"
  folder_round queue-small-nopause --no-completion-pause
fi
