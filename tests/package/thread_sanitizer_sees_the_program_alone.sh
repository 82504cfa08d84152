#!/usr/bin/env bash
# A program built for ThreadSanitizer uses the library as it is installed: with the
# file of suppressions that comes with it, the program's own races are reported, and
# nothing else is.
#
#   thread_sanitizer_sees_the_program_alone.sh BUILD-TREE LIBDIR COMPILER
# shellcheck source-path=SCRIPTDIR
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package_checks.sh"

[[ $# -eq 3 ]] || fail "needs a build tree, the library directory and a compiler"
installed=$scratch/installed program=$scratch/program
cmake --install "$1" --prefix "$installed"
"$3" -std=c++11 -g -fsanitize=thread -Wall -Wextra -Werror "$(dirname "$consumer")/sanitized/main.cpp" \
  -I"$installed/include" -L"$installed/$2" -lZinLogger -Wl,-rpath,"$installed/$2" -o "$program"

# reports OPTION ARGUMENT...: runs the program, counts what ThreadSanitizer reports,
# and leaves it in the file `said`.
reports() {
  local option=$1 status=0
  shift
  rm -rf "$scratch/logs"
  # The children of the program start threads of their own.
  TSAN_OPTIONS="die_after_fork=0 $option" timeout 100 "$program" "$scratch/logs" "$@" \
    >"$scratch/output" 2>"$scratch/said" || status=$?
  # 66: it ran to its end, and there were reports.
  if [[ $status -ne 0 && $status -ne 66 || $(cat "$scratch/output") != 'done' ]]; then
    tail -n 40 "$scratch/said" >&2
    fail "the program failed with $status"
  fi
  grep -c '^WARNING: ThreadSanitizer: ' "$scratch/said" || true
}

withFile=suppressions=$installed/share/zinlogger/tsan.supp
[[ $(reports "") -gt 0 ]] || fail "nothing is reported without the file: it is not needed any more"
[[ $(reports "$withFile") -eq 0 ]] || { cat "$scratch/said" >&2; fail "reports of a program without a race"; }
found=$(reports "$withFile" race)
[[ $found -eq 1 ]] || fail "the program has one race, not $found"
grep -q 'CountInFirstThread' "$scratch/said" || { cat "$scratch/said" >&2; fail "that was another race"; }
