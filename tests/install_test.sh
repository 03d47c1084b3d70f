#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs a build into a temporary prefix, checks the installed tree, builds the example consumer
# against it the way another project would and compares what it prints.
#   install_test.sh find_package|pkg-config CMAKE GENERATOR BUILD_DIR LIBDIR VERSION CONSUMER_DIR CXX
#     [FLAGS]
# Exits 77 (skipped) when pkg-config is wanted but not installed.
set -euo pipefail
mode=$1 cmake=$2 generator=$3 build=$4 libdir=$5 version=$6 consumer=$7 cxx=$8 flags=${9:-}

if [ "$mode" = pkg-config ] && ! command -v pkg-config >/dev/null; then
  echo "pkg-config is not installed (./dev deps installs it)"
  exit 77
fi

tmp=$(mktemp -d "${TMPDIR:-/tmp}/perflib-install.XXXXXX")
trap 'status=$?; if [ $status -eq 0 ]; then rm -rf "$tmp"; else echo "kept $tmp"; fi' EXIT
prefix=$tmp/prefix
fail() {
  echo "FAIL: $*"
  exit 1
}

"$cmake" --install "$build" --prefix "$prefix" >"$tmp/install.log"

for file in bin/vexil "$libdir/libperflib.so.$version" "$libdir/libperflib.so" include/perflib \
  include/perflib_bits/record.h include/perflib_legacy.h "$libdir/cmake/perflib/perflibConfig.cmake" \
  "$libdir/cmake/perflib/perflibConfigVersion.cmake" "$libdir/pkgconfig/perflib.pc" \
  share/man/man1/vexil.1.gz bin/vexil-plot share/man/man1/vexil-plot.1.gz \
  share/bash-completion/completions/vexil share/bash-completion/completions/vexil-plot; do
  [ -e "$prefix/$file" ] || fail "not installed: $file"
done
# What only the Debian packages carry stays out of a prefix.
for file in lib/sysusers.d share/lintian share/doc/libperflib8 share/doc/libperflib-dev \
  share/doc/vexil/changelog.Debian.gz share/doc/vexil/copyright; do
  [ ! -e "$prefix/$file" ] || fail "installed, though only for the Debian packages: $file"
done
# Every header the chief header includes is installed beside it.
for header in $(sed -n 's/^#include "\(.*\)"$/\1/p' "$prefix/include/perflib"); do
  [ -e "$prefix/include/$header" ] || fail "not installed: include/$header"
done
soname_link=$prefix/$libdir/libperflib.so.${version%%.*}
[ "$(readlink "$soname_link")" = "libperflib.so.$version" ] || fail "no SONAME link $soname_link"
# The installed tool finds its library without help, and records nothing of the build tree.
env -u LD_LIBRARY_PATH "$prefix/bin/vexil" -h >/dev/null || fail "installed vexil -h failed"
(cd / && env -u LD_LIBRARY_PATH "$prefix/bin/vexil-plot" -h >/dev/null) || fail "installed vexil-plot -h failed"
if grep -rqF "$build" "$prefix/$libdir/cmake" "$prefix/$libdir/pkgconfig"; then
  fail "installed package files name the build directory $build"
fi

warnings="-Wall -Wextra -Wpedantic -Werror"
case "$mode" in
  find_package)
    "$cmake" -S "$consumer" -B "$tmp/build" -G "$generator" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$warnings $flags" \
      -DCMAKE_EXE_LINKER_FLAGS="$flags" >"$tmp/configure.log" || {
      cat "$tmp/configure.log"
      fail "configuring the consumer"
    }
    found=$(sed -n 's/^perflib_DIR:PATH=//p' "$tmp/build/CMakeCache.txt")
    [ "$found" = "$prefix/$libdir/cmake/perflib" ] || fail "find_package found perflib in $found"
    "$cmake" --build "$tmp/build" >"$tmp/build.log" || {
      cat "$tmp/build.log"
      fail "building the consumer"
    }
    consumer_binary=$tmp/build/consumer
    ;;
  pkg-config)
    export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
    [ "$(pkg-config --modversion perflib)" = "$version" ] || fail "pkg-config version"
    [ "$(pkg-config --variable=includedir perflib)" = "$prefix/include" ] || fail "pkg-config includedir"
    # shellcheck disable=SC2046,SC2086 # the flags are lists of words
    "$cxx" -std=c++20 $warnings $flags -o "$tmp/consumer" "$consumer/main.cpp" \
      $(pkg-config --cflags --libs perflib) >"$tmp/build.log" 2>&1 || { cat "$tmp/build.log"; fail "building the consumer"; }
    consumer_binary=$tmp/consumer
    export LD_LIBRARY_PATH=$prefix/$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
    ;;
  *) fail "unknown mode $mode" ;;
esac

# -Werror leaves notes alone: the headers give none (GCC's on passing a long double union).
if grep -q 'note:' "$tmp/build.log"; then cat "$tmp/build.log"; fail "compiler notes on the headers"; fi

expected='#timestamp,daq.received,stream_tcp.max
1700000160,3500,40'
actual=$("$consumer_binary") || fail "the consumer exited with status $?"
if [ "$actual" != "$expected" ]; then
  printf 'expected:\n%s\nactual:\n%s\n' "$expected" "$actual"
  fail "the consumer's output"
fi
echo "installed perflib works through $mode"
