#!/usr/bin/env bash
# Every macro that the header offers stands in the synopsis of the manual page, those
# by level for INFO alone, and nothing else that looks like one does.
#
#   manual_names_macros.sh ZinLoggerMacros.h zinlogger.3
set -euo pipefail
[[ $# -eq 2 && -f $1 && -f $2 ]] || { echo "usage: manual_names_macros.sh HEADER PAGE" >&2; exit 2; }

in_header() {
  sed -nE 's/^#define (ZIN_[A-Z_]+)\(.*/\1/p' "$1" | grep -v '^ZIN_INTERNAL_' |
    sed -E 's/^ZIN_(FATAL|ERROR|WARN|DEBUG)/ZIN_INFO/' | sort -u
}
in_page() {
  sed -nE '/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/ s/^\.Fn (ZIN_[A-Z_]+) .*/\1/p' "$1" | sort
}
grep -qE '^\.Li ZIN_LEVEL_FLOOR( |$)' "$2" || { echo "manual_names_macros.sh: $2 does not name ZIN_LEVEL_FLOOR" >&2; exit 1; }
for level in FATAL ERROR WARN INFO DEBUG; do
  for name in "$level" "ZIN_LEVEL_$level"; do
    grep -qE "^\.Li $name( |\$)" "$2" || { echo "manual_names_macros.sh: $2 does not name $name" >&2; exit 1; }
  done
done
[[ $(in_header "$1" | wc -l) -ge 11 ]] || { echo "manual_names_macros.sh: $1 was not understood" >&2; exit 1; }
diff <(in_header "$1") <(in_page "$2") >&2 ||
  { echo "manual_names_macros.sh: the macros differ (< header, > manual page)" >&2; exit 1; }
