#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the libFuzzer targets (clang, AddressSanitizer + UndefinedBehaviorSanitizer) with the
# CMake preset "fuzz" (in build/fuzz, or $VEXIL_FUZZ_BUILD) and runs each for a bounded time
# (`./dev fuzz` installs clang first):
#
#   fuzz/run.sh [SECONDS [TARGET...]]   SECONDS per target (default 60); TARGET: context,
#                                        decompress, differential (default all, one after
#                                        another)
#
# Each target first replays its seed corpus (corpus/TARGET) and past findings (regressions/TARGET),
# then fuzzes from them. A crash, sanitizer report, hang (10 s on one input; 60 s for differential,
# which runs the sanitized vexil a dozen times or more on a scenario whose files reach 1 MB),
# memory blow-up (2 GiB) or failed check is a finding: the run fails and the input is kept in
# BUILD/fuzz/findings/TARGET/; copy it into regressions/TARGET/ once its fix is in.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
seconds=${1:-60}
shift || true
targets=("$@")
((${#targets[@]})) || targets=(context decompress differential)
[[ "$seconds" =~ ^[1-9][0-9]*$ ]] || { echo "SECONDS must be a positive number" >&2; exit 2; }

build=${VEXIL_FUZZ_BUILD:-$root/build/fuzz}
(cd "$root" && cmake --preset fuzz -B "$build" >/dev/null)
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target "${targets[@]/%/_fuzzer}"

# fuzz_one TARGET: replay, then fuzz for the given time. Returns non-zero on a finding.
fuzz_one() {
  local name=$1 binary=$build/fuzz/${1}_fuzzer
  local work=$build/fuzz/corpus/$name findings=$build/fuzz/findings/$name log=$build/fuzz/$name.log
  local replay=("$here/corpus/$name")
  [[ -d "$here/regressions/$name" ]] && replay+=("$here/regressions/$name")
  mkdir -p "$work" "$findings"
  local hang=10
  [[ $name == differential ]] && hang=60
  local options=(-timeout=$hang -rss_limit_mb=2048 -dict="$here/perflib.dict"
    -artifact_prefix="$findings/" -print_final_stats=1)
  echo "== $name: replaying $(find "${replay[@]}" -type f | wc -l) saved inputs"
  if ! find "${replay[@]}" -type f -print0 | xargs -0 "$binary" "${options[@]}" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "$name: a saved input fails (log: $log)"
    return 1
  fi
  echo "== $name: fuzzing for $seconds s"
  if ! "$binary" "${options[@]}" -max_total_time="$seconds" "$work" "${replay[@]}" >"$log" 2>&1; then
    tail -n 80 "$log"
    echo "$name: finding in $findings (log: $log)"
    return 1
  fi
  grep -E '^(Done|stat::(number_of_executed_units|new_units_added|peak_rss_mb))' "$log" || true
}

passed=0
failed=0
for t in "${targets[@]}"; do
  if fuzz_one "$t"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
done
echo "fuzz: $passed passed, $failed failed"
((failed == 0))
