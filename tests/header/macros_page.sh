#!/usr/bin/env bash
# Builds the sample of the page about the macros as C++11 and C++20, runs it, and
# compares what it logs with what the page shows.
set -euo pipefail

if [[ $# -lt 4 || ! -f $1 || ! -f $2/ZinLoggerMacros.h || ! -f $3 ]]; then
  echo "usage: macros_page.sh <MACROS.md> <include directory> <libZinLogger.so> <compiler> [flag ...]" >&2
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
  echo "macros_page.sh: $*" >&2
  exit 1
}

# block FIRST-LINE: the one block of the page that begins so.
block() {
  awk -v begin="$1" '$0 == "```" && inside { exit } inside { print } $0 == begin { inside = 1 }' "$page"
}

block '```cpp' >main.cpp
grep -q '^int main() {$' main.cpp || fail "no sample found in $page"
block '```text' >shown
[[ $(wc -l <shown) -eq 7 ]] || fail "no lines found in $page"

for standard in c++11 c++20; do
  rm -rf logs
  "$compiler" "-std=$standard" -Wall -Wextra -Wpedantic -Werror "$@" -I "$include" main.cpp \
    "$library" "-Wl,-rpath,$(dirname "$library")" -o demo
  ./demo || fail "the sample ended with status $?"
  # Without process, time and thread, and without what the library says itself.
  sed -nE 's/^\[demo\] \[[^]]*\] \[[0-9]+\] (.*\[main\.cpp:.*)$/\1/p' logs/app.log >logged
  diff shown logged || fail "the page shows what is on the left, the sample logs the right"
  [[ $(grep -c ': request [0-9]*$' logs/requests/app.log) -eq 1000 ]] || fail "requests are missing"
  [[ $(cat logs/metrics/metrics.log) == requests=1000 ]] || fail "the metrics record is missing"
done
