#!/usr/bin/env bash
# Compiles each public header alone, and twice in one source, by g++ and clang++,
# as C++11 to C++20, with and without macros that bear the names of levels.
set -euo pipefail

if [[ $# -ne 1 || ! -f $1/ZinLogger.h ]]; then
  echo "usage: compile_alone.sh <directory of ZinLogger.h>" >&2
  exit 2
fi
include=$1
here=$(cd "$(dirname "$0")" && pwd)
for compiler in g++ clang++; do
  if ! command -v "$compiler" >/dev/null; then
    echo "compile_alone.sh: $compiler is not installed" >&2
    exit 1
  fi
done

failures=0
check() {
  if ! "$@"; then
    echo "does not compile: $*" >&2
    failures=$((failures + 1))
  fi
}

strict=(-fsyntax-only -Werror -Wall -Wextra -Wpedantic -Wshadow)
for compiler in g++ clang++; do
  for standard in c++11 c++14 c++17 c++20; do
    compile=("$compiler" "-std=$standard" "${strict[@]}" -I "$include")
    check "${compile[@]}" -x c++ "$include/ZinLogger.h"
    check "${compile[@]}" "$here/levels.cpp"
    check "${compile[@]}" "$here/macros.cpp"
    check "${compile[@]}" -DDEBUG=1 -DERROR=0 -DINFO=2 -DFATAL=3 -DWARN=4 "$here/macros.cpp"
    check "${compile[@]}" -DDEBUG "$here/one_macro.cpp"
    check "${compile[@]}" -DDEBUG=1 -DERROR=0 -DINFO=2 -DFATAL=3 -DWARN=4 "$here/all_macros.cpp"
  done
done
exit $((failures > 0))
