#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What --metrics-listen costs the merge: the soak run of soak.cpp (INPUTS inputs written at
# LINES_PER_SECOND lines each, buckets of 10 s of sample time) under four loads, with vexil's
# bucket latency and processor time (all of vexil, the merge without the HTTP server's thread,
# and that thread) side by side:
#   no listener   without --metrics-listen
#   not scraped   --metrics-listen, nothing connects
#   scraped 1/s   a scrape every second (curl; its answer times too)
#   300 idle      300 idle connections held open (one the server closes after its 10 idle seconds
#                 is opened again at once), and a scrape every 10 s (timed)
# Each run also checks that vexil printed the bytes a plain merge of the same lines prints.
#
#   bench/metrics.sh [INPUTS [LINES_PER_SECOND [SECONDS [IDLE_SECONDS [RUNS]]]]]
#   default 16 200 60 10 1: four minutes or so
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc 2>/dev/null || echo 2)
source "$root/bench/common.sh"
inputs=${1:-16} rate=${2:-200} seconds=${3:-60} idle=${4:-10} runs=${5:-1}
command -v curl >/dev/null && command -v python3 >/dev/null \
  || { echo "bench/metrics.sh needs curl and python3 (./dev deps installs them)" >&2; exit 2; }
build_tools vexil soak
work=$(mktemp -d "${TMPDIR:-/tmp}/vexil-metrics-bench-XXXXXX")
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$work"' EXIT

# scrape INTERVAL URL OUT: a scrape every INTERVAL seconds while the run lasts (until vexil no
# longer listens), "CODE SECONDS" a line into OUT (code 000: no answer in 5 s).
scrape() {
  local i answer status
  for ((i = 0; i < (seconds + idle + 30) / $1; i++)); do
    status=0
    answer=$(curl -s -o /dev/null -m 5 -w '%{http_code} %{time_total}' "$2") || status=$?
    ((status != 7)) || break  # connection refused: vexil ended
    echo "$answer" >>"$3"
    sleep "$1"
  done
}

# hold URL COUNT OUT: COUNT idle connections to the server of URL for the length of the run (or
# until vexil ends), each one the server closes opened again; how many were reopened goes into
# OUT.
hold() {
  python3 - "$1" "$2" "$((seconds + idle + 30))" >"$3" <<'EOF'
import selectors, socket, sys, time
address = sys.argv[1].split("//")[1].split("/")[0].rsplit(":", 1)
count, until = int(sys.argv[2]), time.monotonic() + float(sys.argv[3])
watch = selectors.DefaultSelector()
def connect():
    watch.register(socket.create_connection((address[0], int(address[1]))), selectors.EVENT_READ)
for _ in range(count):
    connect()
reopened = 0
try:
    while time.monotonic() < until:
        for key, _ in watch.select(timeout=0.5):
            watch.unregister(key.fileobj)
            key.fileobj.close()
            connect()
            reopened += 1
except ConnectionRefusedError:
    pass  # vexil ended
print(reopened)
EOF
}

# run NAME LOAD: one soak run under LOAD (none, listen, scraped, idle); its report in NAME.out.
run() {
  local name=$1 load=$2 args="" url="" soak
  [[ $load == none ]] || args="--metrics-listen 0"
  SOAK_VEXIL_ARGS=$args "$build/bench/soak" "$build/vexil/vexil" "$work/$name" "$inputs" "$rate" \
    "$seconds" "$idle" >"$work/$name.out" &
  soak=$!
  if [[ $load != none ]]; then
    until url=$(sed -n 's/^vexil: metrics at //p' "$work/$name/vexil.err" 2>/dev/null) \
      && [[ -n $url ]]; do
      sleep 0.05
    done
  fi
  local load_jobs=()
  case $load in
    scraped) scrape 1 "$url" "$work/$name.scrapes" & load_jobs+=($!) ;;
    idle)
      hold "$url" 300 "$work/$name.reopened" &  # ends with vexil
      scrape 10 "$url" "$work/$name.scrapes" & load_jobs+=($!)
      ;;
  esac
  wait "$soak" || { cat "$work/$name.out" >&2; echo "$name: the soak run failed" >&2; exit 1; }
  ((${#load_jobs[@]} == 0)) || kill "${load_jobs[@]}" 2>/dev/null || true
  wait
}

# figures NAME LABEL: one line of the table.
figures() {
  local scrapes="-" reopened=""
  if [[ -s "$work/$1.scrapes" ]]; then
    scrapes=$(awk '$1 == 200 { print $2 * 1000 }' "$work/$1.scrapes" | sort -g | awk \
      -v bad="$(awk '$1 != 200' "$work/$1.scrapes" | wc -l)" '{ t[NR] = $1 }
      END { printf "%d, %.1f / %.1f%s", NR, t[int((NR + 1) / 2)], t[NR], bad ? ", " bad " failed" : "" }')
  fi
  [[ -s "$work/$1.reopened" ]] && reopened=" (reopened $(cat "$work/$1.reopened"))"
  awk -v label="$2" -v busy="$seconds" -v idle="$idle" -v scrapes="$scrapes$reopened" '
    /^cpu share idle/ { idle_cpu = $4 / 100 * idle }
    /^cpu share busy/ { busy_cpu = $4 / 100 * busy }
    /^of it the server/ { server_cpu = $5 / 100 * busy }
    /^latency ms/ { median = $4; p95 = $6; p99 = $8; max = $10 }
    /^matches plain/ { same = $3 }
    END { printf "%-12s %7s %7s %7s %7s %7.2f %7.2f %7.2f %7.3f  %-5s %s\n", label, median, p95,
      p99, max, busy_cpu, busy_cpu - server_cpu, server_cpu, idle_cpu, same, scrapes }' "$work/$1.out"
}

names=(none listen scraped idle)
declare -A labels=([none]="no listener" [listen]="not scraped" [scraped]="scraped 1/s"
  [idle]="300 idle")
for ((r = 1; r <= runs; r++)); do
  for load in "${names[@]}"; do
    echo "run $r: $load" >&2
    run "$load-$r" "$load"
  done
done

printf '\n%d inputs, %d lines/s each, buckets of 10 s of sample time; %d s written, %d s idle before\n' \
  "$inputs" "$rate" "$seconds" "$idle"
printf 'on %s, %d processors\n' \
  "$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1)" "$jobs"
printf '%-12s %-31s %-23s %7s\n' "" "bucket latency, ms" "processor s, written" "idle"
printf '%-12s %7s %7s %7s %7s %7s %7s %7s %7s  %-5s %s\n' load median p95 p99 max vexil merge \
  server vexil same "scrapes: count, median / max ms"
for ((r = 1; r <= runs; r++)); do
  for load in "${names[@]}"; do
    figures "$load-$r" "${labels[$load]}"
  done
done
