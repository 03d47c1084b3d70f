#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# promtool passes examples/prometheus (configuration, rules, the rules' unit tests) and has
# nothing to say about the exposition of the benchmark layouts: gen_logs's mixed preset, a few
# rows each, holds the current layout, the older one and a supplemental file. Skipped (77)
# without promtool. promtool_test.sh VEXIL GEN_LOGS EXAMPLES_DIR
set -euo pipefail
command -v promtool >/dev/null && command -v curl >/dev/null || exit 77
cd "$3/prometheus"
promtool check config prometheus.yml && promtool check rules vexil.rules.yml
promtool test rules vexil.rules.test.yml
dir=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$dir"' EXIT
cd "$dir"
"$2" -r 40 mixed logs
"$1" -t --metrics-listen 0 -d logs -l inst00 -l inst05 -l inst06 -l inst07 -f perf.csv \
  -s logs/sdrops.csv >/dev/null 2>err &
until grep -qs '^vexil: metrics at' err; do sleep 0.1; done
url=$(sed -n 's/^vexil: metrics at //p' err)
until curl -s "$url" >metrics.txt && grep -q '^vexil_last_bucket_end_timestamp_seconds 1700000100$' metrics.txt; do
  sleep 0.1
done
said=$(promtool check metrics <metrics.txt 2>&1) && [ -z "$said" ] || { echo "$said"; exit 1; }
# Both layouts and the supplemental input are in it.
for line in '^vexil_decode_ipv4_total ' '^vexil_stats_packet_drop_ratio ' 'engine="inst07"' \
  'engine="logs/sdrops.csv"'; do
  grep -q "$line" metrics.txt || { echo "no $line in the exposition" && exit 1; }
done
