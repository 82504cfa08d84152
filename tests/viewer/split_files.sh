#!/usr/bin/env bash
# What zinlogger-split does with files, streams, and arguments that are wrong.
#
#   split_files.sh PROGRAM
set -euo pipefail

[[ $# -eq 1 ]] || {
  echo "usage: split_files.sh PROGRAM" >&2
  exit 2
}
split=$1
scratch=$(mktemp -d)
follower=
trap '[[ -z $follower ]] || kill "$follower" 2>/dev/null || true; rm -rf "$scratch"' EXIT
cd "$scratch"

fail() {
  echo "split_files.sh: $*" >&2
  exit 1
}

expect_status() {
  local wanted=$1 status=0
  shift
  "$@" >out 2>err || status=$?
  [[ $status -eq $wanted ]] || fail "exit status $status instead of $wanted: $*"
}

header='[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [main.cpp:6] [main]: '
{
  printf '%s' "$header"
  head -c $((2046 - ${#header})) /dev/zero | tr '\0' x
} >cut.log
printf '%snext\n' "$header" >next.log
{
  cat cut.log
  echo
  cat next.log
} >expected
cat cut.log next.log >joined.log

expect_status 0 "$split" joined.log
cmp out expected || fail "a file is not split"
expect_status 0 "$split" <joined.log
cmp out expected || fail "standard input is not split"
expect_status 0 "$split" - <joined.log
cmp out expected || fail "the file - is not standard input"
expect_status 0 "$split" cut.log -- next.log
cmp out expected || fail "the end of a file does not end its last line"

# One clear line, the right status, and what could be read is there.
expect_status 1 "$split" missing.log joined.log
cmp out expected || fail "a file behind one that cannot be read is lost"
[[ $(<err) == "zinlogger-split: missing.log: No such file or directory" ]] || fail "$(<err)"
expect_status 1 "$split" .
[[ $(<err) == "zinlogger-split: .: Is a directory" ]] || fail "$(<err)"
expect_status 2 "$split" --nowhere
[[ $(wc -l <err) -eq 1 && ! -s out ]] || fail "$(<err)"
status=0
"$split" joined.log >/dev/full 2>err || status=$?
[[ $status -eq 1 && $(<err) == "zinlogger-split: cannot write: No space left on device" ]] ||
  fail "status $status: $(<err)"
expect_status 0 "$split" --help
expect_status 0 "$split" --version

# A stream that goes on: what has come is shown before it ends.
mkfifo pipe
"$split" <pipe >followed &
follower=$!
exec 3>pipe
cat joined.log >&3
for ((tries = 0; tries < 600; ++tries)); do
  ! cmp -s followed expected || break
  sleep 0.05
done
cmp followed expected || fail "a stream is held back"
exec 3>&-
wait "$follower"
follower=
