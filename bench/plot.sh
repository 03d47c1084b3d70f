#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Times vexil-plot drawing a year of 5-minute buckets (105,120 rows and one day missing, 40 columns,
# the header repeated once mid-year) to PNG, SVG and PDF. The target is under 3 s for
# each picture.
#
#   bench/plot.sh [RUNS]      RUNS: 3; prints the median wall time of each format
#
# Builds vexil-plot with the CMake preset "bench" (or in VEXIL_BENCH_BUILD), writes the input
# once into bench/data/plot/year.csv and the pictures beside it. Needs gnuplot (./dev deps).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
runs=${1:-3}
[[ "$runs" =~ ^[1-9][0-9]*$ ]] || { echo "runs must be a positive number" >&2; exit 2; }
jobs=$(nproc 2>/dev/null || echo 2)
source "$root/bench/common.sh"
build_tools vexil_plot
plot=$build/vexil_plot/vexil-plot
data=$root/bench/data/plot
mkdir -p "$data"

# Daily and weekly waves with noise, eight packet threads; rows of 2023-11-14 are left out.
generate() {
  awk 'BEGIN {
    srand(7)
    head = "#timestamp,daq.dropped,daq.received,daq.rx_bytes,stream_tcp.sessions,stream_tcp.max"
    for (t = 0; t < 8; t++) head = head sprintf(",thread_%d.cpu_user,thread_%d.cpu_system,thread_%d.cpu_wall", t, t, t)
    head = head ",stats.pkt_drop_percent,stats.usr[0],stats.sys[0],stats.idle[0],appid.detected_apps,x"
    start = 1672531200
    for (i = 1; i <= 105408; i++) {
      ts = start + 300 * i
      if (i == 1 || i == 52560) print head
      if (ts > 1699920000 && ts <= 1700006400) continue
      day = sin(2 * 3.14159265 * (i % 288) / 288); week = (int(i / 288) % 7 < 5) ? 1 : 0.6
      pkts = int(300 * 20000 * (1.2 + day) * week * (0.9 + 0.2 * rand()))
      drop = int(pkts * 0.001 * (rand() < 0.01 ? 40 : 1) * rand())
      sess = int(40000 * (1.1 + day) * week)
      line = ts "," drop "," pkts "," pkts * 700 "," sess "," int(sess * 1.05)
      for (t = 0; t < 8; t++) {
        busy = 0.25 + 0.2 * (1 + day) * week + 0.05 * rand()
        line = line "," int(300e6 * busy * 0.8) "," int(300e6 * busy * 0.2) ",300000000"
      }
      printf "%s,%.3g,%.3g,%.3g,%.3g,%d,%d\n", line, 100 * drop / (pkts + drop), 30 + 10 * day, 10, 60 - 10 * day, int(pkts / 900), i
    }
  }' >"$data/year.csv.part"
  mv "$data/year.csv.part" "$data/year.csv"
}
[[ -f "$data/year.csv" ]] || generate
echo "input: $(grep -vc '^#' "$data/year.csv") rows, $(du -m "$data/year.csv" | cut -f1) MB"

median_seconds() {  # median_seconds COMMAND...: the median wall time of runs runs
  local i times=()
  for ((i = 0; i < runs; i++)); do
    local t0=$EPOCHREALTIME
    "$@" >/dev/null
    times+=("$(awk -v a="$t0" -v b="$EPOCHREALTIME" 'BEGIN { print b - a }')")
  done
  printf '%s\n' "${times[@]}" | sort -n | sed -n "$(((runs + 1) / 2))p"
}

for format in png svg pdf; do
  printf '%s\t%.2f s\n' "$format" "$(median_seconds "$plot" -o "$data/year.$format" "$data/year.csv")"
done
