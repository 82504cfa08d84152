#!/usr/bin/env bash
# Builds the developers' page's library that logs and the test of it, as C++11
# and C++20: the test passes, and fails once the library says nothing.
set -euo pipefail

if [[ $# -lt 4 || ! -f $1 || ! -f $2/ZinLogger.h || ! -f $3 ]]; then
  echo "usage: testing_sample.sh <page> <include directory> <libZinLogger.so> <compiler> [flag ...]" >&2
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
  echo "testing_sample.sh: $(basename "$page"): $*" >&2
  exit 1
}

for file in db.cpp db_test.cpp; do
  awk -v begin="\`\`\`cpp $file" '$0 == "```" && inside { exit } inside { print } $0 == begin { inside = 1 }' \
    "$page" >"$file"
  [[ -s $file ]] || fail "no block for $file"
done
mkdir silent
sed 's/, WARN,/, static_cast<LogLevel>(5),/' db.cpp >silent/db.cpp
! cmp -s db.cpp silent/db.cpp || fail "db.cpp has no WARN that could be left out"

# build STANDARD DIRECTORY: the library of that directory, and db_test with it.
build() {
  local -a flags=("-std=$1" -Wall -Wextra -Wpedantic -Werror "${@:3}" -I "$include")
  "$compiler" "${flags[@]}" -shared -fPIC "$2/db.cpp" "$library" -o libdb.so
  "$compiler" "${flags[@]}" db_test.cpp ./libdb.so "$library" "-Wl,-rpath,$(dirname "$library")" \
    "-Wl,-rpath,$PWD" -o db_test
}

for standard in c++11 c++20; do
  build "$standard" . "$@"
  [[ $(./db_test 2>/dev/null) == passed ]] || fail "the test of db.cpp does not pass"
  build "$standard" silent "$@"
  [[ $(./db_test 2>/dev/null || true) == FAILED:* ]] || fail "the test does not notice a missing line"
done
