#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Prints the symbols a built libperflib exports, demangled, one a line, sorted: those of namespace
# perflib and the plain-named functions and variables of the legacy C interface. The instances of
# standard library templates the library happens to export (weak symbols that differ between
# compilers and their versions) are no part of its interface and are left out.
#   perflib/abi/symbols.sh LIBRARY
set -e
nm -D --defined-only --format=just-symbols "$1" | grep -E '^(_Z[A-Z]*N?K?7perflib|[^_])' \
  | c++filt | LC_ALL=C sort -u
