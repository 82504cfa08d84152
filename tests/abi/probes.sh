#!/usr/bin/env bash
# Compares the probes in the library with those in the table of the page on
# them: name and number of arguments.
set -euo pipefail

if [[ $# -ne 2 || ! -f $1 || ! -f $2 ]]; then
  echo "usage: probes.sh <libZinLogger.so> <PROBES.md>" >&2
  exit 2
fi

# "<name> <arguments>" of each; a probe may stand at several places.
in_library() {
  readelf -n "$1" | awk '
    $1 == "Provider:" { ours = $2 == "zinlogger" }
    ours && $1 == "Name:" { name = $2 }
    ours && $1 == "Arguments:" { print name, NF - 1 }' | sort -u
}

# A row: | `name` | argument, argument | ...; what stands in brackets explains.
in_table() {
  sed -nE 's/^\| `([a-z_]+)` \| ([^|]*) \|.*/\1|\2/p' "$1" | sed -E 's/\([^)]*\)//g' |
    awk -F'|' '{ print $1, split($2, arguments, ",") }' | sort
}

if ! difference=$(diff -u <(in_table "$2") <(in_library "$1")); then
  echo "probes.sh: the library's probes are not those of the table:" >&2
  echo "$difference" >&2
  exit 1
fi
[[ $(in_library "$1" | wc -l) -eq 7 ]] || { echo "probes.sh: seven probes are expected" >&2; exit 1; }
