#!/usr/bin/env bash
# Keeps docs/DELIBERATE.md, the comments that begin with "Deliberate:" and the
# tests together.
#
# usage: check_deliberate.sh <root of the tree>
set -euo pipefail

[[ $# -eq 1 && -f $1/docs/DELIBERATE.md ]] || {
  echo "check_deliberate.sh: usage: check_deliberate.sh <root of the tree>" >&2
  exit 2
}
cd "$1"
sources=BaseAPI/ZinLogger/src
failures=0
complain() {
  echo "$*" >&2
  failures=$((failures + 1))
}

# Rows of the tables: | what | `file` | `Suite.Test` |
rows=$(sed -nE 's/^\| .* \| `([^`]+)` \| `([A-Za-z0-9]+)\.([A-Za-z0-9]+)` \|$/\1 \2 \3/p' docs/DELIBERATE.md)
[[ -n $rows ]] || complain "docs/DELIBERATE.md has no rows"

while read -r file suite test; do
  grep -qE "^TEST(_F|_P)?\($suite, $test\)" -r tests --include='*.cpp' ||
    complain "no such test: $suite.$test"
  grep -q 'Deliberate:' "$sources/$file" 2>/dev/null ||
    complain "no comment begins with Deliberate: in $sources/$file"
done <<<"$rows"

while IFS=: read -r file comments; do
  listed=$(grep -cF "${file#"$sources"/} " <<<"$rows" || true)
  [[ $listed -ge $comments ]] ||
    complain "$file has $comments comments that begin with Deliberate:, the table has $listed rows for it"
done < <(grep -rc 'Deliberate:' "$sources" --include='*.cpp' --include='*.h' | grep -v ':0$')

[[ $failures -eq 0 ]]
