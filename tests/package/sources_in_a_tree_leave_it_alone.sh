#!/usr/bin/env bash
# Puts the library's sources into the tree of another project, in both ways that
# CMake has for it. The project gets the library and nothing else: what it sees is
# compared with what it sees without it.
#
#   sources_in_a_tree_leave_it_alone.sh SOURCE-TREE COMPILER [SANITIZER-FLAG]
# shellcheck source-path=SCRIPTDIR
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package_checks.sh"

[[ $# -ge 2 ]] || fail "needs the source tree and a compiler"
sources=$(realpath "$1") compiler=$2 sanitizerFlag=${3:-}
parent=$(dirname "$consumer")/parent
export CMAKE_BUILD_PARALLEL_LEVEL=2
unset CMAKE_BUILD_TYPE CXXFLAGS LDFLAGS

# configure WAY: the parent, where there is no GoogleTest, with settings of its own
# that a library cannot follow.
configure() {
  cmake -S "$parent" -B "$scratch/$1" -DPARENT_TAKES_IT_BY="$1" -DZINLOGGER_SOURCES="$sources" \
    -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_FLAGS="$sanitizerFlag" -DBUILD_SHARED_LIBS=OFF -DCMAKE_UNITY_BUILD=ON |
    tee "$scratch/$1.said"
}

# What the user of a build folder can set there: neither internal nor static.
settings() {
  sed -nE 's/^([A-Za-z][A-Za-z0-9_-]*):([A-Z]+)=(.*)/\1 \2 \3/p' "$1/CMakeCache.txt" |
    awk '$2 != "INTERNAL" && $2 != "STATIC"' | grep -vE '^(FETCHCONTENT_|PARENT_TAKES_IT_BY )' |
    LC_ALL=C sort
}

# Variables that the parent has afterwards, but for what CMake itself leaves behind.
new_variables() {
  LC_ALL=C comm -13 <(LC_ALL=C sort "$1/variablesBefore") <(LC_ALL=C sort "$1/variablesAfter") |
    grep -vE '^variablesBefore$|^__cmake_|^_*(FetchContent|FETCHCONTENT)_|^[zZ]in[lL]ogger_(SOURCE_DIR|BINARY_DIR|POPULATED)$' |
    grep -vE '^(ZinLogger_IS_TOP_LEVEL|CMAKE_HAVE_LIBC_PTHREAD|FIND_PACKAGE_MESSAGE_DETAILS_Threads)$'
}

# check_nothing_reached_the_parent WAY
check_nothing_reached_the_parent() {
  local build=$scratch/$1 found
  diff <(settings "$scratch/nothing") <(settings "$build") ||
    fail "$1: the cache differs as shown (< without the library, > with it)"
  found=$(comm -13 <(sort "$scratch/nothing/foreignTargets") <(sort "$build/foreignTargets"))
  [[ $found == *ZinLogger* ]] || fail "$1: the targets were not listed"
  found=$(grep -v '^Zin' <<<"$found") && fail "$1: these targets do not carry our prefix: $found"
  found=$(new_variables "$build" | grep -vx ZIN_HAS_PROBES) &&
    fail "$1: these variables are new: $found"
  found=$(ctest --test-dir "$build" -N)
  [[ $found == *'Total Tests: 0'* ]] || fail "$1: these tests are ours: $found"
}

# check_the_program WAY: it is built, it logs, and it is all that is installed.
check_the_program() {
  local build=$scratch/$1 installed
  cmake --build "$build"
  check_consumer "$build/consumer" "$scratch/$1-logs"
  cmake --install "$build" --prefix "$scratch/$1-installed"
  installed=$(find "$scratch/$1-installed" ! -type d -printf '%P\n')
  [[ $installed == bin/consumer ]] || fail "$1: this was installed: $installed"
}

configure nothing
for way in add_subdirectory FetchContent; do
  configure "$way"
  check_nothing_reached_the_parent "$way"
  check_the_program "$way"
done
grep -q 'libZinLogger stays a shared library' "$scratch/add_subdirectory.said" ||
  fail "BUILD_SHARED_LIBS=OFF was not answered"
