#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the command blocks of a README that are marked to run, in order, from the root of a fresh
# copy of the repository's tracked files, with vexil and vexil-plot on PATH, and compares what
# they print with the blocks they name.
#   readme_check.sh README VEXIL_DIR VEXIL_PLOT_DIR
# Marks, each on the line just before a fenced block:
#   <!-- run -->               run the block (bash -e -o pipefail); it must succeed
#   <!-- run; prints NAME -->  and its standard output must equal output block NAME, or the file
#                              NAME of the repository when NAME holds a slash
#   <!-- output NAME -->       the block is output NAME
set -euo pipefail
readme=$(realpath "$1")
root=$(dirname "$readme")
tmp=$(mktemp -d "${TMPDIR:-/tmp}/readme.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
mkdir "$tmp/repo" "$tmp/bin" "$tmp/blocks"
ln -s "$(realpath "$2")/vexil" "$(realpath "$3")/vexil-plot" "$tmp/bin"
if git -C "$root" rev-parse --show-toplevel >/dev/null 2>&1; then
  (cd "$root" && git ls-files -z | xargs -0 cp --parents -t "$tmp/repo" 2>/dev/null) || true
else
  (cd "$root" && tar --exclude=./build -cf - .) | tar -xf - -C "$tmp/repo"
fi

runs=() mark="" into=""
while IFS= read -r line; do
  if [ -n "$into" ]; then
    if [ "$line" = '```' ]; then into=""; else printf '%s\n' "$line" >>"$into"; fi
  elif [[ $line =~ ^'<!-- run'(\; prints ([^ ]+))?' -->'$ ]]; then
    runs+=("${BASH_REMATCH[2]:--}") mark=run
  elif [[ $line =~ ^'<!-- output '([^ /]+)' -->'$ ]]; then
    mark=out.${BASH_REMATCH[1]}
  elif [[ $line == '```'* && -n $mark ]]; then
    [ "$mark" = run ] && mark=run.${#runs[@]}
    into=$tmp/blocks/$mark mark=""
    : >"$into"
  else
    mark=""
  fi
done <"$readme"

failed=0
for ((k = 1; k <= ${#runs[@]}; k++)); do
  block=$tmp/blocks/run.$k expect=${runs[k - 1]}
  status=0
  (cd "$tmp/repo" && PATH="$tmp/bin:$PATH" TZ=UTC XDG_CACHE_HOME="$tmp/cache" bash -e -o pipefail "$block") \
    >"$tmp/stdout" 2>"$tmp/stderr" || status=$?
  if [ $status -ne 0 ]; then
    printf 'FAILED (status %s):\n%s\nstderr:\n%s\n\n' $status "$(cat "$block")" "$(cat "$tmp/stderr")"
    failed=1
    continue
  fi
  case $expect in
    -) continue ;;
    */*) want=$tmp/repo/$expect ;;
    *) want=$tmp/blocks/out.$expect ;;
  esac
  if ! diff -u "$want" "$tmp/stdout" >"$tmp/diff"; then
    printf 'OUTPUT DIFFERS from %s:\n%s\n%s\n\n' "$expect" "$(cat "$block")" "$(cat "$tmp/diff")"
    failed=1
  fi
done
echo "${#runs[@]} blocks run"
exit $failed
