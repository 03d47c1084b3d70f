#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Holds a built libperflib to the binary interface recorded for its soname: the baseline
# libperflib.so.N.abi (abidw's description, read from the library's debug information, of the
# functions, variables and types the public headers declare), the demangled symbol list
# libperflib.so.N.symbols (symbols.sh) and the Debian symbols file libperflibN.symbols.
#
#   perflib/abi/check.sh LIBRARY
#     Fails on any difference. An incompatible change (a function or variable gone, an exported
#     class of another size or layout, another virtual table) needs a new soname: the major
#     version in the top CMakeLists.txt. A compatible one (an addition) is recorded with --write.
#   perflib/abi/check.sh --write LIBRARY VERSION
#     Records the library's interface: for a soname that has a baseline only if the change is
#     compatible (symbols added now get VERSION as their minimum version in the Debian file); for a
#     new soname it starts afresh and removes the files of the old one.
set -eu
dir=$(cd "$(dirname "$0")" && pwd)
write=false
if [ "${1:-}" = --write ]; then
  write=true
  shift
fi
lib=$1
version=${2:-}
for tool in abidw abidiff objdump; do
  command -v $tool >/dev/null || { echo "$tool is not installed (./dev deps installs it)"; exit 77; }
done
soname=$(objdump -p "$lib" | awk '$1 == "SONAME" { print $2 }')
major=${soname##*.so.}
baseline=$dir/$soname.abi
symbols=$dir/$soname.symbols
debian=$dir/libperflib$major.symbols
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# The paths of the sources are written from the top of the repository, whatever machine built it.
root=$(cd "$dir/../.." && pwd)
abidw --no-corpus-path --no-show-locs --suppressions "$dir/perflib.abignore" \
  --headers-dir "$dir/../include" --drop-private-types "$lib" | sed "s|='$root/|='|g" >"$tmp/abi"
sh "$dir/symbols.sh" "$lib" >"$tmp/symbols"

if [ -f "$baseline" ]; then
  status=0
  abidiff --no-show-locs --leaf-changes-only --impacted-interfaces "$baseline" "$tmp/abi" >"$tmp/diff" || status=$?
else
  status=none
fi

if ! $write; then
  case $status in
    none)
      echo "no binary interface is recorded for $soname: a new soname is recorded with"
      echo "  ./dev abi"
      exit 1 ;;
    0) ;;
    4)
      cat "$tmp/diff"
      echo "$soname: a compatible change; record it with ./dev abi"
      exit 1 ;;
    8 | 12)
      cat "$tmp/diff"
      echo "$soname: an incompatible change; programs linked against $soname would break."
      echo "Either undo it or move the soname (the major version in CMakeLists.txt), then ./dev abi"
      exit 1 ;;
    *)
      cat "$tmp/diff"
      echo "abidiff failed ($status)"
      exit 1 ;;
  esac
  # The symbol list and the Debian symbols file name the same symbols as the library.
  diff -u "$symbols" "$tmp/symbols" || { echo "$soname: the symbol list differs; ./dev abi"; exit 1; }
  sed -n 's/^ \([^ ]*\)@Base .*/\1/p' "$debian" | c++filt | LC_ALL=C sort -u >"$tmp/debian"
  diff -u "$symbols" "$tmp/debian" || { echo "$debian differs from the library; ./dev abi"; exit 1; }
  echo "$soname: the binary interface is the one recorded"
  exit 0
fi

[ -n "$version" ] || { echo "usage: $0 --write LIBRARY VERSION" >&2; exit 2; }
case $status in
  none)
    rm -f "$dir"/libperflib.so.*.abi "$dir"/libperflib.so.*.symbols "$dir"/libperflib[0-9]*.symbols ;;
  0 | 4) ;;
  *)
    cat "$tmp/diff"
    echo "$soname: an incompatible change is not recorded: move the soname first" >&2
    exit 1 ;;
esac
cp "$tmp/abi" "$baseline"
cp "$tmp/symbols" "$symbols"
# dpkg-gensymbols keeps the minimum version of every symbol the old file has and gives the new
# ones this version; only the symbols of the interface are kept.
mkdir -p "$tmp/pkg/lib" "$tmp/debian"
cp "$lib" "$tmp/pkg/lib/$soname"
[ -f "$debian" ] && cp "$debian" "$tmp/debian/symbols"
printf 'Source: libperflib\n\nPackage: libperflib%s\nArchitecture: any\n' "$major" >"$tmp/debian/control"
(cd "$tmp" && dpkg-gensymbols -q -plibperflib$major -v"$version" -Ppkg -Odebian/generated) || true
{
  echo "libperflib.so.$major libperflib$major #MINVER#"
  echo "* Build-Depends-Package: libperflib-dev"
  grep -E '^ (_Z[A-Z]*N?K?7perflib|[^_])' "$tmp/debian/generated" | LC_ALL=C sort
} >"$debian"
echo "recorded the binary interface of $soname"
