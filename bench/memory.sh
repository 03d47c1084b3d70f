#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Peak memory of a merge against the size of its input. A merge holds only the buckets still
# open (those some input has not yet passed) and one pending record per input, so its peak RSS
# should stay flat as the files grow. Last, the peak over input without line ends.
#
#   bench/memory.sh [MB...]        input sizes in MB (default: 100 1000), each merged from 4 and
#                                  from 16 files of the same rows
#
# Builds vexil and gen_logs like bench/run.sh (build/bench, or VEXIL_BENCH_BUILD), writes the
# logs into a temporary directory (under TMPDIR) and removes them after each size.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
sizes=("$@")
((${#sizes[@]})) || sizes=(100 1000)
for mb in "${sizes[@]}"; do
  [[ "$mb" =~ ^[1-9][0-9]*$ ]] || { echo "sizes are positive numbers of MB" >&2; exit 2; }
done
jobs=$(nproc 2>/dev/null || echo 2)
row_bytes=600  # about one generated row

source "$root/bench/common.sh"

# measure MB FILES: generates the logs, merges them once, prints one table row.
measure() {
  local mb=$1 files=$2 rows data bytes wall rss
  rows=$((mb * 1000000 / row_bytes / files))
  data=$tmp/data
  rm -rf "$data"
  "$build/bench/gen_logs" -f "$files" -r "$rows" large "$data" >/dev/null
  local logdirs=()
  for d in $(cd "$data" && ls -d inst* | sort); do
    logdirs+=(-l "$d")
  done
  bytes=$(cat "$data"/inst*/perf.csv | wc -c)
  local t0=${EPOCHREALTIME/./}
  /usr/bin/time -f %M -o "$tmp/rss" "$build/vexil/vexil" -d "$data" "${logdirs[@]}" -f perf.csv \
    >"$tmp/out"
  local t1=${EPOCHREALTIME/./}
  rss=$(tail -n 1 "$tmp/rss")
  printf '%6d %9.1f %10d %10d %9.2f %13.1f\n' "$files" "$(awk "BEGIN {print $bytes / 1e6}")" \
    "$rows" "$(wc -l <"$tmp/out")" "$(awk "BEGIN {print ($t1 - $t0) / 1e6}")" \
    "$(awk "BEGIN {print $rss / 1024}")"
  rm -rf "$data"
}

build_tools vexil gen_logs
need_time
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
printf '%6s %9s %10s %10s %9s %13s\n' files "input MB" "rows/file" "out lines" "wall s" \
  "peak RSS MiB"
for mb in "${sizes[@]}"; do
  for files in 4 16; do
    measure "$mb" "$files"
  done
done

# Input without line ends: the reader refuses a line over 16 MiB, so the peak stays under 64 MiB
# (plain, and gzip that expands without end).
for input in /dev/zero gzip; do
  if [[ $input == gzip ]]; then
    head -c 200000000 /dev/zero | gzip -1 >"$tmp/zeros.gz" && input=$tmp/zeros.gz
  fi
  /usr/bin/time -f %M -o "$tmp/rss" "$build/vexil/vexil" -f "$input" >/dev/null 2>&1 || true
  printf 'no line ends, %-10s peak RSS %.1f MiB\n' "${input##*/}" "$(awk "BEGIN {print $(tail -n 1 "$tmp/rss") / 1024}")"
done
