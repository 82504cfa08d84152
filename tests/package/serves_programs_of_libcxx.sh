#!/usr/bin/env bash
# Builds the library and an application with the C++ library of LLVM, in which names
# and features differ from those of libstdc++, and runs it.
#
#   serves_programs_of_libcxx.sh SOURCE-TREE
# shellcheck source-path=SCRIPTDIR
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package_checks.sh"

[[ $# -eq 1 ]] || fail "needs the source tree"
unset CXXFLAGS LDFLAGS
export CMAKE_BUILD_PARALLEL_LEVEL=2
build=$scratch/build

if ! clang++ -stdlib=libc++ -x c++ -include string -fsyntax-only /dev/null 2>/dev/null; then
  echo "SKIPPED: clang++ finds no libc++ here (Debian: clang, libc++-dev, libc++abi-dev)"
  exit 77
fi
cmake -S "$(dirname "$consumer")/parent" -B "$build" -DPARENT_TAKES_IT_BY=add_subdirectory \
  -DZINLOGGER_SOURCES="$(realpath "$1")" -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_CXX_FLAGS='-stdlib=libc++ -Wall -Wextra -Werror'
cmake --build "$build"
check_consumer "$build/consumer" "$scratch/logs"
needed=$(readelf -dW "$build/zinlogger/BaseAPI/ZinLogger/libZinLogger.so")
[[ $needed == *libc++.so* && $needed != *libstdc++* ]] || fail "built with another C++ library: $needed"
