#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The support-bundle queries: one hour out of a long history, and a history split into rotated
# files. 16 instances of 43,200 rows each (about 415 MB plain; one row every 10 s, so five days),
# generated once into bench/data/window, compressed with zstd -3 into bench/data/window-zst, and
# split into 30 rotated files per instance (the 29 older ones zstd -3, without their header) into
# bench/data/window-rotated. Prints the median wall time of RUNS runs of each:
#   full merge (plain) | one hour (plain): with the cache off, each run without a window index
#   (made by its pass), then with the index made | one hour (zstd) and `zstd -dc` of the same files in turn | the
#   rotated history merged with --rotated, which must equal the plain full merge.
# vexil's cache (the window indexes) is bench/data/window-cache; the hour prints the same with the
# index, without it, and with the cache off.
#
#   bench/window.sh [RUNS]    (default 5)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
runs=${1:-5}
jobs=$(nproc 2>/dev/null || echo 2)
source "$root/bench/common.sh"
build_tools vexil gen_logs
data=$root/bench/data/window
if [[ ! -f "$data/.complete" ]]; then
  rm -rf "$data" "$data-zst" "$data-rotated" "$data-cache"
  "$build/bench/gen_logs" -f 16 -r 43200 large "$data" >/dev/null
  for d in "$data"/inst*; do
    i=${d##*/}
    mkdir -p "$data-zst/$i" "$data-rotated/$i"
    zstd -q -3 -c "$d/perf.csv" >"$data-zst/$i/perf.csv"
    # 30 pieces of 1,440 rows: perf.csv.29 the oldest (with the header), perf.csv the live one.
    tail -n +2 "$d/perf.csv" | split -l 1440 -d -a 2 - "$data-rotated/$i/piece."
    for n in $(seq 0 29); do
      piece=$data-rotated/$i/piece.$(printf %02d "$n") age=$((29 - n))
      [[ $n -eq 0 ]] && { head -n 1 "$d/perf.csv"; cat "$piece"; } >"$piece.h" && mv "$piece.h" "$piece"
      if ((age == 0)); then mv "$piece" "$data-rotated/$i/perf.csv"
      else zstd -q -3 --rm "$piece" -o "$data-rotated/$i/perf.csv.$age"; fi
    done
  done
  touch "$data/.complete"
fi
dirs=()
for d in "$data"/inst*; do dirs+=(-l "${d##*/}"); done
hour=(--since 1700200000 --until 1700203600)
median() {  # median CMD...: median wall seconds of $runs runs
  local t=() i
  for ((i = 0; i < runs; i++)); do
    local t0=${EPOCHREALTIME/./}
    "$@" >/dev/null
    t+=($(((${EPOCHREALTIME/./} - t0) / 1000)))
  done
  printf '%s\n' "${t[@]}" | sort -n | sed -n "$(((runs + 1) / 2))p" | awk '{printf "%.3f", $1 / 1000}'
}
v=$build/vexil/vexil
"$v" -d "$data" "${dirs[@]}" -f perf.csv >"$data/full.out"
"$v" --rotated -d "$data-rotated" "${dirs[@]}" -f perf.csv 2>/dev/null | cmp - "$data/full.out"
printf '%-44s %8s\n' run "wall s"
printf '%-44s %8s\n' "full merge, plain (415 MB)" "$(median "$v" -d "$data" "${dirs[@]}" -f perf.csv)"
export XDG_CACHE_HOME=$data-cache
hour_plain() { "$v" "${hour[@]}" -d "$data" "${dirs[@]}" -f perf.csv; }
cold_hour() { rm -rf "$XDG_CACHE_HOME" && hour_plain; }
VEXIL_CACHE='' hour_plain >"$data/hour.out"
cold_hour | cmp - "$data/hour.out"
hour_plain | cmp - "$data/hour.out"
printf '%-44s %8s\n' "one hour, plain, cache off" "$(VEXIL_CACHE='' median hour_plain)"
printf '%-44s %8s\n' "one hour, plain, no index yet (made)" "$(median cold_hour)"
printf '%-44s %8s\n' "one hour, plain, index made" "$(median hour_plain)"
printf '%-44s %8s\n' "one hour, zstd -3" "$(median "$v" "${hour[@]}" -d "$data-zst" "${dirs[@]}" -f perf.csv)"
printf '%-44s %8s\n' "zstd -dc of the same files in turn" "$(median sh -c "cat $data-zst/inst*/perf.csv | zstd -dc")"
printf '%-44s %8s\n' "--rotated, 30 files an instance (= full merge)" \
  "$(median "$v" --rotated -d "$data-rotated" "${dirs[@]}" -f perf.csv)"
