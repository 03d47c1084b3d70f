# SPDX-License-Identifier: Apache-2.0
# Helpers shared by the benchmark scripts; source it after setting root and jobs.

# build_tools TARGET...: builds the targets with the preset "bench" (build/bench), or in
# VEXIL_BENCH_BUILD when set; leaves the build directory in $build.
build_tools() {
  local targets=(--target "$@")
  if [[ -n "${VEXIL_BENCH_BUILD:-}" ]]; then
    build=$VEXIL_BENCH_BUILD
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DVEXIL_BUILD_BENCH=ON -DVEXIL_BUILD_TESTS=OFF >/dev/null
    cmake --build "$build" -j "$jobs" "${targets[@]}" >/dev/null
  else
    build=$root/build/bench
    (cd "$root" && cmake --preset bench >/dev/null \
      && cmake --build --preset bench -j "$jobs" "${targets[@]}" >/dev/null)
  fi
}

# GNU time reports the peak RSS; Debian's package "time".
need_time() {
  [[ -x /usr/bin/time ]] && return
  echo "installing GNU time" >&2
  local sudo=""
  [[ $(id -u) -eq 0 ]] || sudo=sudo
  $sudo apt-get update -qq
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq time >/dev/null
}
