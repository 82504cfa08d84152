#!/usr/bin/env bash
# Holds the manual page and the completion of zinpipe against its own help, and
# runs the command that the page gives for cut lines.
set -euo pipefail

if [[ $# -ne 2 || ! -x $1 || ! -f $2/zinpipe.1 ]]; then
  echo "usage: zinpipe_manual.sh <zinpipe> <its source directory>" >&2
  exit 2
fi
zinpipe=$(realpath "$1")
page=$(realpath "$2")/zinpipe.1
completion=$(realpath "$2")/zinpipe.bash
command -v mandoc >/dev/null || {
  echo "zinpipe_manual.sh: mandoc is not installed" >&2
  exit 1
}

fail() {
  echo "zinpipe_manual.sh: $*" >&2
  exit 1
}

mandoc -T lint -W warning "$page" || fail "the manual page has faults"

options() { grep -oE -- '--[a-z-]+' | LC_ALL=C sort -u; }
inHelp=$("$zinpipe" --help | options)
[[ $(wc -l <<<"$inHelp") -gt 10 ]] || fail "the help names hardly any option"
inPage=$(grep -E '^\.B[IR]? ' "$page" | sed 's/\\-/-/g' | options)
diff <(echo "$inHelp") <(echo "$inPage") || fail "options differ: help on the left, page on the right"

# complete_word PREVIOUS CURRENT: what the completion offers.
complete_word() {
  bash -c 'source "$1"; _zinpipe zinpipe "$3" "$2"; printf "%s\n" "${COMPREPLY[@]}"' bash \
    "$completion" "$1" "$2"
}
diff <(echo "$inHelp") <(complete_word zinpipe -- | LC_ALL=C sort) ||
  fail "options differ: help on the left, completion on the right"
[[ $(complete_word --level W) == WARN ]] || fail "no level is completed"
[[ $(complete_word --name x) == "" ]] || fail "something is offered for a name"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
[[ $(complete_word --dir "$scratch/no") == "" ]] || fail "a directory is offered that is not there"
mkdir "$scratch/logs"
[[ $(complete_word --dir "$scratch/lo") == "$scratch/logs" ]] || fail "no directory is completed"

printf '%020000d\nshort\n' 7 >long.txt
"$zinpipe" --dir . --name app.log <long.txt 2>/dev/null
command=$(grep '^sed ' "$page" | sed "s/\\\\(aq/'/g; s/\\\\-/-/g; s/\\\\e/\\\\/g")
cmp <(bash -c "$command") long.txt || fail "the page's command does not join lines: $command"
if cmp -s app.log long.txt; then fail "the long line was not cut"; fi
