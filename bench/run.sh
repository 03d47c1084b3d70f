#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Times vexil against the floor (a minimal parse-and-sum of the same files) on generated logs, and
# against Miller and DuckDB when they are installed. Prints median wall time, throughput, the
# ratio to the floor and peak RSS.
#
# The same logs compressed with gzip -6 and zstd -3 are merged too, and timed against decompressing
# them with gzip -dc and zstd -dc one file after another (VEXIL_BENCH_COMPRESSED=0 leaves them out).
#
#   bench/run.sh [PRESET [RUNS]]      PRESET: small, large (default), many, mixed; RUNS: 5
#
# Builds vexil, gen_logs and floor with the CMake preset "bench" (build/bench); set
# VEXIL_BENCH_BUILD to another directory to build there instead. Data is generated once into
# bench/data/PRESET. VEXIL_BENCH_OTHERS=0 leaves Miller and DuckDB out (they take minutes on the
# large presets).
#
# The default, large with 5 runs, writes about 1.1 GB under bench/data (the logs and their
# compressed copies, kept for the next run) and takes over 11 minutes when Miller is installed;
# `bench/run.sh small 1` is a quick look.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
preset=${1:-large}
runs=${2:-5}
case "$preset" in
  small | large | many | mixed) ;;
  *) echo "usage: $0 [small|large|many|mixed [runs]]" >&2; exit 2 ;;
esac
[[ "$runs" =~ ^[1-9][0-9]*$ ]] || { echo "runs must be a positive number" >&2; exit 2; }
jobs=$(nproc 2>/dev/null || echo 2)

source "$root/bench/common.sh"

generate() {
  data=$root/bench/data/$preset
  if [[ ! -f "$data/.complete" ]]; then
    rm -rf "$data"
    "$build/bench/gen_logs" "$preset" "$data"
    touch "$data/.complete"
  fi
  files=()
  logdirs=()
  local d
  for d in "$data"/inst*/; do  # the glob sorts
    d=$(basename "$d")
    files+=("$data/$d/perf.csv")
    logdirs+=(-l "$d")
  done
  supplemental=()
  if [[ -f "$data/sdrops.csv" ]]; then
    files+=("$data/sdrops.csv")
    supplemental=(-s "$data/sdrops.csv")
  fi
  bytes=$(stat -c %s "${files[@]}" | awk '{s += $1} END {print s}')
}

# compress FORMAT COMMAND...: the logs compressed by COMMAND into bench/data/PRESET-FORMAT, each
# file under its own name plus .FORMAT, made once; as many files at a time as there are cores.
compress() {
  local format=$1 dir=$data-$1
  shift
  if [[ ! -f "$dir/.complete" ]]; then
    echo "compressing $preset with $* (once)" >&2
    rm -rf "$dir"
    local f out
    for f in "${files[@]}"; do
      out=$dir/${f#"$data"/}.$format
      mkdir -p "$(dirname "$out")"
      "$@" <"$f" >"$out" &
      if (($(jobs -rp | wc -l) >= jobs)); then wait -n; fi
    done
    while (($(jobs -rp | wc -l))); do wait -n; done
    touch "$dir/.complete"
  fi
}

# The merge in other tools: the sum of every column per 300 s bucket over all files, one thread.
# shellcheck disable=SC2016  # JavaScript template strings
duckdb_script='
const { DuckDBInstance } = require("@duckdb/node-api");
(async () => {
  const files = process.argv.slice(1).map((f) => "\x27" + f + "\x27").join(",");
  const src = `read_csv([${files}], header = true, union_by_name = true)`;
  const db = await DuckDBInstance.create(":memory:", { threads: "1" });
  const con = await db.connect();
  const names = (await con.runAndReadAll(`DESCRIBE SELECT * FROM ${src}`)).getRows().map((r) => r[0]);
  const q = (n) => "\"" + n.replaceAll("\"", "\"\"") + "\"";
  const times = names.filter((n) => n.startsWith("#")).map(q);
  const values = names.filter((n) => !n.startsWith("#")).map((n) => `sum(${q(n)}) AS ${q(n)}`);
  const t = times.length > 1 ? `coalesce(${times.join(",")})` : times[0];
  await con.run(`COPY (SELECT ${t} - ${t} % 300 AS bucket, ${values.join(",")} FROM ${src}
                 GROUP BY bucket ORDER BY bucket) TO \x27/dev/stdout\x27 (HEADER)`);
})().catch((e) => { console.error(e.message); process.exit(1); });
'

# shellcheck disable=SC2016,SC2034  # literal Miller expressions; cmd_* are read by measure()
commands() {
  cmd_floor=("$build/bench/floor" "${files[@]}")
  cmd_vexil=("$build/vexil/vexil" -d "$data" "${logdirs[@]}" -f perf.csv "${supplemental[@]}")
  cmd_vexil_one=(taskset -c 0 "${cmd_vexil[@]}")
  cmd_vexil_strict=("$build/vexil/vexil" --strict -d "$data" "${logdirs[@]}" -f perf.csv "${supplemental[@]}")
  cmd_mlr=(env GOMAXPROCS=1 mlr --icsv --ocsv put '$bucket = $[[[1]]] - $[[[1]]] % 300'
    'then' stats1 -a sum --fx '^(#.*|bucket)$' -g bucket "${files[@]}")
  cmd_duckdb=(env "NODE_PATH=$node_path" node -e "$duckdb_script" "${files[@]}")
  declare -gA labels=([floor]=floor [vexil]=vexil [vexil_one]="vexil, 1 processor" [vexil_strict]="vexil --strict"
    [mlr]="mlr (1 thread)" [duckdb]="duckdb (1 thread)")
  tools=(floor vexil vexil_one vexil_strict)
  compressed_commands
  [[ "${VEXIL_BENCH_OTHERS:-1}" == 0 ]] && return
  command -v mlr >/dev/null && tools+=(mlr)
  if command -v node >/dev/null \
    && env "NODE_PATH=$node_path" node -e 'require.resolve("@duckdb/node-api")' >/dev/null 2>&1; then
    tools+=(duckdb)
  fi
}

# compressed FORMAT PATH...: the compressed copies of the files, in the array "copies".
compressed() {
  local format=$1
  shift
  copies=("${@/#"$data"/"$data-$format"}")
  copies=("${copies[@]/%/.$format}")
}

# The merge of the compressed logs, and decompressing them with the usual tools one file after
# another (output to /dev/null), which is what the merge is compared with.
# shellcheck disable=SC2034,SC2016  # cmd_* are read by measure(); literal shell loops
compressed_commands() {
  [[ "${VEXIL_BENCH_COMPRESSED:-1}" == 0 ]] && return
  compress gz gzip -6 -n
  compress zst zstd -3 -q
  local sup=()
  ((${#supplemental[@]})) && sup=(-s)
  compressed gz "${supplemental[@]:1}"
  cmd_vexil_gz=("$build/vexil/vexil" -d "$data-gz" "${logdirs[@]}" -f perf.csv.gz "${sup[@]}" "${copies[@]}")
  compressed gz "${files[@]}"
  cmd_gunzip=(sh -c 'for f; do gzip -dc "$f"; done' sh "${copies[@]}")
  cat "${copies[@]}" >/dev/null
  compressed zst "${supplemental[@]:1}"
  cmd_vexil_zst=("$build/vexil/vexil" -d "$data-zst" "${logdirs[@]}" -f perf.csv.zst "${sup[@]}" "${copies[@]}")
  compressed zst "${files[@]}"
  cmd_unzstd=(sh -c 'for f; do zstd -dcq "$f"; done' sh "${copies[@]}")
  cat "${copies[@]}" >/dev/null
  labels+=([vexil_gz]="vexil, gzip -6" [gunzip]="gzip -dc in turn" [vexil_zst]="vexil, zstd -3"
    [unzstd]="zstd -dc in turn")
  tools+=(vexil_gz gunzip vexil_zst unzstd)
}

# measure NAME: one timed run; appends "NAME microseconds max-RSS-KiB processor-seconds" to the
# results.
measure() {
  local -n cmd="cmd_$1"
  local t0 t1
  t0=${EPOCHREALTIME/./}
  if ! /usr/bin/time -f '%M %U %S' -o "$tmp/rss" "${cmd[@]}" >/dev/null 2>"$tmp/err"; then
    echo "$1 failed:" >&2
    cat "$tmp/err" >&2
    exit 1
  fi
  t1=${EPOCHREALTIME/./}
  echo "$1 $((t1 - t0)) $(tail -n 1 "$tmp/rss" | awk '{ print $1, $2 + $3 }')" >>"$tmp/results"
}

# stats NAME: "median-microseconds max-RSS-KiB" of its runs.
stats() {
  awk -v name="$1" '$1 == name { print $2, $3 }' "$tmp/results" | sort -n | awk '
    { t[NR] = $1; if ($2 > rss) rss = $2 }
    END { print (NR % 2) ? t[(NR + 1) / 2] : (t[NR / 2] + t[NR / 2 + 1]) / 2, rss }'
}

# ratio A B TEXT: the median time of A over that of B.
ratio() {
  local a b rss
  read -r a rss < <(stats "$1")
  read -r b rss < <(stats "$2")
  awk -v a="$a" -v b="$b" -v text="$3" 'BEGIN { printf "%s: %.2f\n", text, a / b }'
}

# cpu_median NAME: the median processor time (user + system seconds) of its runs.
cpu_median() {
  awk -v name="$1" '$1 == name { print $4 }' "$tmp/results" | sort -g | awk '
    { t[NR] = $1 } END { print (NR % 2) ? t[(NR + 1) / 2] : (t[NR / 2] + t[NR / 2 + 1]) / 2 }'
}

# cpu_ratio A B TEXT: the median processor time of A over that of B.
cpu_ratio() {
  awk -v a="$(cpu_median "$1")" -v b="$(cpu_median "$2")" -v text="$3" \
    'BEGIN { printf "%s: %.2f\n", text, a / b }'
}

report() {
  local name median rss floor_median
  read -r floor_median rss < <(stats floor)
  printf '\n%s: %d files, %.1f MB, %d runs each (median wall time, peak RSS of all runs)\n' \
    "$preset" "${#files[@]}" "$(awk "BEGIN {print $bytes / 1e6}")" "$runs"
  printf 'on %s, %d processors\n' \
    "$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1)" "$jobs"
  printf '%-18s %9s %9s %8s %13s\n' tool "wall s" "MB/s" "x floor" "peak RSS MiB"
  for name in "${tools[@]}"; do
    read -r median rss < <(stats "$name")
    awk -v label="${labels[$name]}" -v m="$median" -v f="$floor_median" -v b="$bytes" -v rss="$rss" \
      'BEGIN { printf "%-18s %9.3f %9.1f %8.2f %13.1f\n", label, m / 1e6, b / m, m / f, rss / 1024 }'
  done
  ratio vexil_one floor "vexil on one processor / floor (target: 1.2 at most)"
  ratio vexil floor "vexil / floor (target: 0.6 at most on 2 processors)"
  cpu_ratio vexil_strict vexil "processor time of vexil --strict / vexil (target: 1.3 at most)"
  if [[ -v 'labels[vexil_gz]' ]]; then
    ratio vexil_gz gunzip "vexil on the gzip -6 files / gzip -dc of them in turn"
    ratio vexil_zst vexil "vexil on the zstd -3 files / vexil on the plain files"
  fi
}

build_tools vexil gen_logs floor
need_time
generate
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
node_path="$root/bench/node_modules:$(npm root -g 2>/dev/null || true)"
commands
if [[ " ${tools[*]} " == *" mlr "* && $preset != small ]]; then
  echo "Miller takes over a minute a run on this preset (VEXIL_BENCH_OTHERS=0 leaves it out)" >&2
fi

cat "${files[@]}" >/dev/null  # every run reads from the page cache
for ((r = 1; r <= runs; r++)); do
  for name in "${tools[@]}"; do
    measure "$name"
  done
done
report
