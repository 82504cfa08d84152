#!/usr/bin/env bash
# Shows that check_includes.sh can fail: plants one fault at a time in a small
# tree of its own.
set -euo pipefail

if [[ $# -ne 0 ]]; then
  echo "usage: check_includes_test.sh" >&2
  exit 2
fi
check=$(cd "$(dirname "$0")" && pwd)/check_includes.sh
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

include=$scratch/BaseAPI/ZinLogger/include
private=$scratch/BaseAPI/ZinLogger/src/ZinLoggerPrivate
tests=$scratch/tests

plant_sound_tree() {
  rm -rf "${scratch:?}"/*
  mkdir -p "$include" "$private" "$tests"
  printf '%s\n' '//   log(__FILE__, __LINE__);' '#include <string>' >"$include/ZinLogger.h"
  printf '%s\n' '#include <atomic>' '' '#include "BlockingQueue.h"' '#include "Retention.h"' \
    '#include "ZinLogger.h"' >"$private/ZinLoggerPrivate.h"
  printf '%s\n' '#include <condition_variable>' >"$private/BlockingQueue.h"
  printf '%s\n' '#include <vector>' >"$private/Retention.h"
  printf '%s\n' '#include "ZinLogger.h"' >"$private/LineFormat.h"
  printf '%s\n' '#include "ZinLogger.h"' >"$private/SelfLog.h"
  printf '%s\n' '#include "LogFileStream.h"' >"$private/LogFileWriter.h"
  printf '%s\n' '#include <sys/stat.h>' >"$private/LogFileStream.h"
  printf '%s\n' '#include "Retention.h"' '#include "LogFileWriter.h"' >"$private/Retention.cpp"
  printf '%s\n' '#include "Retention.h"' 'auto f = __FILE__;' >"$tests/RetentionTest.cpp"
}

failures=0
# expect_refusal <what the check must say> <file> <line to add to the file>
expect_refusal() {
  plant_sound_tree
  echo "$3" >>"$2"
  local output
  if output=$("$check" "$scratch" 2>&1); then
    echo "accepted in ${2##*/}: $3" >&2
    failures=$((failures + 1))
  elif [[ $output != *"$1"* ]]; then
    echo "refused in ${2##*/}, but not for \"$1\": $output" >&2
    failures=$((failures + 1))
  fi
}

plant_sound_tree
if ! "$check" "$scratch"; then
  echo "a sound tree is refused" >&2
  failures=$((failures + 1))
fi

expect_refusal 'includes the source file' "$private/Retention.cpp" '#include "LogFileWriter.cpp"'
expect_refusal 'includes the source file' "$tests/RetentionTest.cpp" '#include "../x/Retention.cpp"'
expect_refusal 'includes the source file' "$tests/RetentionTest.cpp" ' #  include <Retention.cpp>'
expect_refusal 'not of the standard library' "$include/ZinLogger.h" '#include <sys/types.h>'
expect_refusal 'must not include' "$include/ZinLogger.h" '#include "ZinSysInfo.h"'
expect_refusal 'must not include' "$private/ZinLoggerPrivate.h" '#include "LogFileWriter.h"'
expect_refusal 'not of the standard library' "$private/ZinLoggerPrivate.h" '#include <pthread.h>'
expect_refusal 'must not include' "$private/LogFileStream.h" '#include "Retention.h"'
expect_refusal 'must not include' "$private/LogFileStream.h" '#include <ZinLogger.h>'
expect_refusal 'must not include' "$private/LogFileWriter.h" '#include "Retention.h"'
expect_refusal 'includes itself: ' "$private/LogFileStream.h" '#include "LogFileWriter.h"'
expect_refusal 'includes itself: ' "$private/Retention.h" '#include "ZinLoggerPrivate.h"'
expect_refusal 'uses __FILE__' "$private/Retention.cpp" 'Log(__FILE__);'
expect_refusal 'has the name of' "$include/Retention.h" ''

if "$check" "$scratch/nothing-here" 2>/dev/null; then
  echo "a tree that does not exist is accepted" >&2
  failures=$((failures + 1))
fi
exit $((failures > 0))
