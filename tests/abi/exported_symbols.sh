#!/usr/bin/env bash
# Compares what the library exports with the list kept beside this script, and
# checks how it introduces itself to the dynamic linker. A symbol that goes away
# breaks programs; one that is added by accident can never be taken back.
#
# After a change that is meant: exported_symbols.sh --print <library> > list
set -euo pipefail

export LC_ALL=C
for tool in nm readelf; do
  if ! command -v "$tool" >/dev/null; then
    echo "exported_symbols.sh: $tool is not installed" >&2
    exit 1
  fi
done

# One name a line, without address, kind and version; the version's own node is
# no symbol. Constructors appear once, whichever of their variants exist. Where a
# word has 32 bits, a number of 64 bits is called otherwise than in the list.
print_symbols() {
  local wideNumber='unsigned long'
  [[ $(readelf -h "$1") != *ELF32* ]] || wideNumber='unsigned long long'
  nm -DC --defined-only "$1" | sed -E 's/^[0-9a-f]+ . //; s/@@?ZINLOGGER_[0-9.]+$//' |
    sed "s/$wideNumber\([,)]\)/unsigned long\1/g" |
    grep -vE '^ZINLOGGER_[0-9.]+$' | sort -u
}

if [[ $# -eq 2 && $1 == --print && -f $2 ]]; then
  print_symbols "$2"
  exit
fi
if [[ $# -ne 2 || ! -f $1 || ! -f $2 ]]; then
  echo "usage: exported_symbols.sh <libZinLogger.so> <list> | --print <libZinLogger.so>" >&2
  exit 2
fi
library=$1
list=$2

failures=0
fail() {
  echo "exported_symbols.sh: $*" >&2
  failures=$((failures + 1))
}

difference=$(diff -u "$list" <(print_symbols "$library")) ||
  fail "the exported symbols differ from $list: $difference"

foreign=$(grep -vE '^(ZinLogger|ZinLoggerPrivate)::|^ZinGetCacheLog\[abi:cxx11\]\(int\)$|^ZinClearLastLog\(bool\)$|^ZinLogThreshold\(\)$' "$list") &&
  fail "the list holds what no one outside may use: $foreign"

# What is asked of a version that a library does not have is told when a program is
# loaded, so an addition may not pass for a part of the first interface.
versioned='ZinLogThreshold[^ ]*@@ZINLOGGER_1\.1$|@@ZINLOGGER_1$| A ZINLOGGER_1(\.1)?(@@ZINLOGGER_1(\.1)?)?$'
unversioned=$(nm -D --defined-only "$library" | grep -vE "$versioned") &&
  fail "symbols without the version of the interface: $unversioned"
early=$(nm -DC --defined-only "$library" | grep -E 'ZinLogThreshold.*@@ZINLOGGER_1$') &&
  fail "an addition passes for a part of the first interface: $early"

dynamic=$(readelf -dW "$library")
[[ $dynamic == *'Library soname: [libZinLogger.so.1]'* ]] || fail "the SONAME is not libZinLogger.so.1"
[[ $dynamic == *'Flags:'*NODELETE* ]] || fail "the NODELETE flag is missing"
for node in ZINLOGGER_1 ZINLOGGER_1.1; do
  grep -qF "Name: $node" <<<"$(readelf -VW "$library")" || fail "there is no version node $node"
done

needed=$(sed -nE 's/.*\(NEEDED\).*\[(.*)\]/\1/p' <<<"$dynamic")
strangers=$(grep -vxE 'libstdc\+\+\.so\.6|libm\.so\.6|libgcc_s\.so\.1|libc\.so\.6' <<<"$needed") &&
  fail "needs more than the language's own libraries: $strangers"

exit $((failures > 0))
