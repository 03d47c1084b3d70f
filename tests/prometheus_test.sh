#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A real Prometheus scrapes a live vexil -t --metrics-listen every second; what its HTTP API
# answers for a counter and a gauge equals the merged CSV. Skipped (77) without prometheus.
# prometheus_test.sh VEXIL EXAMPLES_DIR
set -euo pipefail
command -v prometheus >/dev/null && command -v curl >/dev/null || exit 77
vexil=$1
dir=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$dir"' EXIT
cd "$dir"
cp -r "$2/logs" .
"$vexil" -t --metrics-listen 0 -d logs -l engine1 -l engine2 -l engine3 -l engine4 \
  -f perf_monitor.csv >merged.csv 2>err &
until grep -qs '^vexil: metrics at' err; do sleep 0.1; done
target=$(sed -n 's,^vexil: metrics at http://\(.*\)/metrics,\1,p' err)
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
printf 'global: {scrape_interval: 1s}\nscrape_configs: [{job_name: vexil, static_configs: [{targets: ["%s"]}]}]\n' \
  "$target" >prometheus.yml
prometheus --config.file=prometheus.yml --storage.tsdb.path=data \
  --web.listen-address="127.0.0.1:$port" >prometheus.log 2>&1 &
# The value Prometheus has for an expression, once it has one and the bucket of 1700001300.
query() {
  for _ in $(seq 600); do
    if [ "$(ask 'vexil_last_bucket_end_timestamp_seconds')" = 1700001300 ]; then
      ask "$1"
      return
    fi
    sleep 0.1
  done
  echo "no answer from Prometheus:" >&2 && cat prometheus.log >&2 && exit 1
}
ask() {
  curl -sfG "http://127.0.0.1:$port/api/v1/query" --data-urlencode "query=$1" |
    jq -r '.data.result[0].value[1] // empty' || true
}
# CSV: the sum of a column over the lines, and its last value.
column() { awk -F, -v c="$1" 'NR == 1 { for (i = 1; i <= NF; ++i) if ($i == c) k = i; next }
  { sum += $k; last = $k } END { printf "%d %d\n", sum, last }' merged.csv; }
read -r dropped _ < <(column daq.dropped)
read -r _ sessions < <(column stream_tcp.sessions)
counter=$(query vexil_daq_dropped_total)
gauge=$(query vexil_stream_tcp_sessions)
engines=$(query 'sum(vexil_engine_daq_dropped_total)')
echo "counter $counter (CSV $dropped), gauge $gauge (CSV $sessions), engines $engines"
[ "$counter" = "$dropped" ] && [ "$gauge" = "$sessions" ] && [ "$engines" = "$dropped" ]
