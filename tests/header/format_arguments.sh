#!/usr/bin/env bash
# A call of Log or Metrics, or a macro that makes one, whose arguments do not match
# its format must not get past a compiler that is told to mind formats.
set -euo pipefail

if [[ $# -ne 2 || ! -f $1/ZinLogger.h ]]; then
  echo "usage: format_arguments.sh <directory of ZinLogger.h> <compiler>" >&2
  exit 2
fi
include=$1
compiler=$2
here=$(cd "$(dirname "$0")" && pwd)
if ! command -v "$compiler" >/dev/null; then
  echo "format_arguments.sh: $compiler is not installed" >&2
  exit 1
fi

compile() {
  LC_ALL=C "$compiler" -std=c++11 -fsyntax-only -Wformat -Werror=format -I "$include" "$@" \
    "$here/format_arguments.cpp" 2>&1
}

if ! output=$(compile); then
  echo "right calls do not compile: $output" >&2
  exit 1
fi
for mistake in WRONG_LOG_TYPE MISSING_LOG_ARGUMENT WRONG_METRICS_TYPE MISSING_METRICS_ARGUMENT \
  WRONG_MACRO WRONG_MACRO_TO WRONG_MACRO_TAG WRONG_MACRO_IF WRONG_MACRO_EVERY_N \
  WRONG_MACRO_EVERY_MS MISSING_MACRO_METRICS; do
  if output=$(compile "-D$mistake"); then
    echo "compiles, although it must not: $mistake" >&2
    exit 1
  fi
  if [[ $output != *-Werror*format* ]]; then
    echo "$mistake fails for another reason: $output" >&2
    exit 1
  fi
done
# Nor where it is taken out; and there is then nothing left of it.
if output=$(compile -DWRONG_MACRO -DZIN_LEVEL_FLOOR=-1); then
  echo "compiles below the floor, although it must not" >&2
  exit 1
fi
calls() {
  LC_ALL=C "$compiler" -std=c++11 -O1 -S -o - -I "$include" "$@" "$here/macros.cpp" |
    grep -c 'ZN9ZinLogger3LogE' || true
}
if [[ $(calls -DZIN_LEVEL_FLOOR=-1) -ne 0 || $(calls) -eq 0 ]]; then
  echo "there is code for levels that were taken out, or none for the others" >&2
  exit 1
fi
