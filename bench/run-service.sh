#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# Upload and download one large file through zyr-cloud with curl and with
# zyr-bench-service (the service library), on the same server and the same
# disk, and print both throughputs, their ratio and the client's peak
# resident memory.
#
#   bench/run-service.sh [BUILD_DIR] [SIZES_MIB...]
#
# BUILD_DIR defaults to ./build; sizes default to "1024 256". ROUNDS (5)
# runs of each, alternating which client goes first; the median counts. BENCH_TMP picks the directory for the
# data (default: a new directory below /tmp).
set -euo pipefail

here="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$here/build}"
shift || true
sizes=("$@")
[[ $# -eq 0 ]] && sizes=(1024 256)
rounds="${ROUNDS:-5}"
server_bin="$build/server/zyr-cloud"
bench_bin="$build/bench/zyr-bench-service"
seed="$here/server/seed/sample-seed.json"
for f in "$server_bin" "$bench_bin"; do
  [[ -x "$f" ]] || { echo "missing $f (build the targets zyr-cloud and zyr-bench-service)" >&2; exit 2; }
done

source "$here/bench/common.sh"
start_cloud "$server_bin" "$seed" zyr-bench


echo "zyr-cloud at $base; $(nproc) cores, $(sed -n 's/^model name\s*: //p' /proc/cpuinfo | head -1)"
echo "data directory and downloads on: $(df -h "$work" | awk 'NR==2 {print $1}')"
echo

for mib in "${sizes[@]}"; do
  file="$work/upload-$mib.bin"
  bytes=$((mib * 1048576))
  head -c "$bytes" /dev/urandom >"$file"
  up_query="parentPath=%2Fbench&size=$bytes&offset=0"

  declare -a cu=() cd=() zu=() zd=() zu_rss=() zd_rss=()
  curl_upload() {
    sync
    local t
    t=$(curl -sf -o "$work/curl-up.json" -w '%{time_total}' -T "$file" -H "$auth" -H 'Expect:' \
        -H 'Content-Type: application/octet-stream' \
        "$base/api/v1/workspaces/w-design/upload?$up_query&path=%2Fbench%2Fcurl-$mib.bin")
    cu+=("$(mibps "$bytes" "$t")")
    curl_id="$(json data id <"$work/curl-up.json")"
  }
  curl_download() {
    rm -f "$work/curl.out"; sync
    local t
    t=$(curl -sf -o "$work/curl.out" -w '%{time_total}' -H "$auth" \
        "$base/api/v1/workspaces/w-design/files/$curl_id/content")
    cd+=("$(mibps "$bytes" "$t")")
    [[ $(stat -c %s "$work/curl.out") -eq $bytes ]] || { echo "curl download incomplete" >&2; exit 1; }
    rm -f "$work/curl.out"
  }
  # The service library, under /usr/bin/time for its peak memory.
  service_upload() {
    sync
    /usr/bin/time -v -o "$work/time-up.log" "$bench_bin" --server "$base" \
        --upload "$file" --remote-path "/bench/zyr-$mib.bin" >"$work/up.log"
    zu+=("$(sed -n 's/.*MiBps=//p' "$work/up.log")")
    zu_rss+=("$(peak "$work/time-up.log")")
    service_id="$(sed -n 's/^fileId=//p' "$work/up.log")"
  }
  service_download() {
    rm -f "$work/zyr.out"; sync
    /usr/bin/time -v -o "$work/time-down.log" "$bench_bin" --server "$base" \
        --download "$service_id" --out "$work/zyr.out" >"$work/down.log"
    zd+=("$(sed -n 's/.*MiBps=//p' "$work/down.log")")
    zd_rss+=("$(peak "$work/time-down.log")")
    cmp -s "$file" "$work/zyr.out" || { echo "service download differs from the upload" >&2; exit 1; }
    rm -f "$work/zyr.out"
  }

  for round in $(seq 1 "$rounds"); do
    # Alternate who goes first, so that neither always inherits the other's
    # dirty pages and writeback.
    if (( round % 2 )); then
      curl_upload; service_upload; curl_download; service_download
    else
      service_upload; curl_upload; service_download; curl_download
    fi
    echo "  ${mib} MiB round $round: upload curl ${cu[-1]} / service ${zu[-1]} MiB/s," \
         "download curl ${cd[-1]} / service ${zd[-1]} MiB/s  (load $(cut -d' ' -f1 /proc/loadavg))"
  done

  mcu=$(printf '%s\n' "${cu[@]}" | median); mzu=$(printf '%s\n' "${zu[@]}" | median)
  mcd=$(printf '%s\n' "${cd[@]}" | median); mzd=$(printf '%s\n' "${zd[@]}" | median)
  echo "${mib} MiB, median of $rounds:"
  printf '  upload    curl %8.1f MiB/s   service %8.1f MiB/s   ratio %.2f   service peak RSS %s MiB\n' \
    "$mcu" "$mzu" "$(awk -v a="$mzu" -v b="$mcu" 'BEGIN {print a/b}')" "$(printf '%s\n' "${zu_rss[@]}" | sort -g | tail -1)"
  printf '  download  curl %8.1f MiB/s   service %8.1f MiB/s   ratio %.2f   service peak RSS %s MiB\n' \
    "$mcd" "$mzd" "$(awk -v a="$mzd" -v b="$mcd" 'BEGIN {print a/b}')" "$(printf '%s\n' "${zd_rss[@]}" | sort -g | tail -1)"
  rm -f "$file"
  unset cu cd zu zd zu_rss zd_rss
done
