#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Soak run of vexil -t (see soak.cpp): an idle phase, then writers appending to every input at a
# steady rate with rotation and truncation. Prints CPU share, peak RSS, bucket latency, and
# whether the output equals a plain merge of the same lines (the exit status says so too).
# Then the same writers without the idle phase, vexil with --max-lag MAX_LAG, and one input that
# stops for 600 s of sample time and resumes: how late buckets came, in sample time, and that the
# buckets without late rows equal the plain merge's.
#
#   bench/soak.sh [INPUTS [LINES_PER_SECOND [SECONDS [IDLE_SECONDS [MAX_LAG]]]]]
#   default 16 200 60 60 60
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc 2>/dev/null || echo 2)
source "$root/bench/common.sh"
build_tools vexil soak
work=$(mktemp -d "${TMPDIR:-/tmp}/vexil-soak-XXXXXX")
trap '[[ -e "$work/logs/followed.out" || -e "$work/lag/followed.out" ]] || rm -rf "$work"' EXIT
"$build/bench/soak" "$build/vexil/vexil" "$work/logs" "${1:-16}" "${2:-200}" "${3:-60}" "${4:-60}"
echo
"$build/bench/soak" "$build/vexil/vexil" "$work/lag" "${1:-16}" "${2:-200}" "${3:-60}" 0 "${5:-60}"
