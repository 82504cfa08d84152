#!/usr/bin/env bash
# Takes the usage sample out of the header's top comment, builds it as C++11
# against the library, runs it, and looks at the file that it promises.
set -euo pipefail

if [[ $# -lt 3 || ! -f $1 || ! -f $2 ]]; then
  echo "usage: usage_sample.sh <ZinLogger.h> <libZinLogger.so> <compiler> [flag ...]" >&2
  exit 2
fi
header=$(realpath "$1")
library=$(realpath "$2")
compiler=$3
shift 3

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

fail() {
  echo "usage_sample.sh: $*" >&2
  exit 1
}

# From the include to the brace that closes main, without the comment's marks.
awk '/^\/\/ +#include <ZinLogger\.h>$/ { inside = 1 }
     inside { sub(/^\/\//, ""); sub(/^   /, ""); print }
     inside && /^}$/ { exit }' "$header" >main.cpp
grep -q '^int main() {$' main.cpp || fail "no sample found in $header"
[[ $(tail -n 1 main.cpp) == '}' ]] || fail "the sample has no end"

"$compiler" -std=c++11 -Wall -Wextra -Wpedantic -Werror "$@" -I "$(dirname "$header")" main.cpp \
  "$library" "-Wl,-rpath,$(dirname "$library")" -o demo
./demo || fail "the sample ended with status $?"

# Where the service's account is missing, the worker says so in between.
mapfile -t lines < <(grep -v '\[ZinChownDirAndFirstDepthFiles\]: ' logs/app.log)
[[ ${#lines[@]} -eq 2 ]] || fail "logs/app.log holds ${#lines[@]} lines, not 2"

stamp='\[[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3}\] \[[0-9]+\]'
call=$(grep -n 'listening on port' main.cpp | cut -d: -f1)
first="^\[demo\] $stamp \[INFO\] \[main\.cpp:$call\] \[main\]: listening on port 8080\$"
second="^\[demo\] $stamp \[INFO\] \[ZinLoggerPrivate:[0-9]+\] \[StopQueue\]: @@@@ LOG EXIT @@@@\$"
[[ ${lines[0]} =~ $first ]] || fail "unexpected first line: ${lines[0]}"
[[ ${lines[1]} =~ $second ]] || fail "unexpected last line: ${lines[1]}"

# The line that the comment shows names the same place and message.
shown=$(grep -o '\[main\.cpp:[0-9]*\] \[main\]: .*' "$header") || fail "no sample line found"
[[ ${lines[0]} == *"$shown" ]] || fail "the comment shows \"$shown\", the file holds ${lines[0]}"
