#!/usr/bin/env bash
# Builds the sample program of a page as C++11 and C++20, runs it, and compares
# what it logs with what the page shows: a block ```text <file> has the lines of
# that file, without process, time and thread.
set -euo pipefail

if [[ $# -lt 4 || ! -f $1 || ! -f $2/ZinLogger.h || ! -f $3 ]]; then
  echo "usage: page_sample.sh <page> <include directory> <libZinLogger.so> <compiler> [flag ...]" >&2
  exit 2
fi
page=$(realpath "$1")
include=$(realpath "$2")
library=$(realpath "$3")
compiler=$4
shift 4

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

fail() {
  echo "page_sample.sh: $(basename "$page"): $*" >&2
  exit 1
}

# block FIRST-LINE: the first block of the page that begins so.
block() {
  awk -v begin="$1" '$0 == "```" && inside { exit } inside { print } $0 == begin { inside = 1 }' "$page"
}

# What the program itself logged: not what the library says about its files.
logged() {
  grep -v '\] \[ZinLoggerPrivate:\|\[ZinChownDirAndFirstDepthFiles\]: ' "$1" |
    sed -E 's/^\[demo\] \[[^]]*\] \[[0-9]+\] //'
}

block '```cpp' >main.cpp
grep -q '^int main() {$' main.cpp || fail "no sample found"
mapfile -t files < <(sed -n 's/^```text //p' "$page")
[[ ${#files[@]} -gt 0 ]] || fail "no lines found"

for standard in c++11 c++20; do
  rm -rf logs
  "$compiler" "-std=$standard" -Wall -Wextra -Wpedantic -Werror "$@" -I "$include" main.cpp \
    "$library" "-Wl,-rpath,$(dirname "$library")" -o demo
  ./demo >/dev/null || fail "the sample ended with status $?"
  for file in "${files[@]}"; do
    diff <(block "\`\`\`text $file") <(logged "$file") ||
      fail "$file: the page shows what is on the left, the sample logs the right"
  done
done
