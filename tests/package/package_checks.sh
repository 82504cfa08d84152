# shellcheck shell=bash
# What an installed tree must hold, and what an application can do with it.
# Sourced by the package tests; gives them the directory `scratch`.

consumer=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/consumer
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Nothing in the environment may help or hinder a consumer.
unset CMAKE_GENERATOR CMAKE_PREFIX_PATH DESTDIR LD_LIBRARY_PATH PKG_CONFIG_PATH

fail() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

# check_installed_files PREFIX LIBDIR BUILD-TYPE: these, and nothing else.
check_installed_files() {
  local prefix=$1 lib=$2 buildType=${3,,} expected actual
  expected=$(LC_ALL=C sort <<END
f include/ZinLogger.h
f include/ZinLoggerMacros.h
f $lib/cmake/ZinLogger/ZinLoggerConfig.cmake
f $lib/cmake/ZinLogger/ZinLoggerConfigVersion.cmake
f $lib/cmake/ZinLogger/ZinLoggerTargets-$buildType.cmake
f $lib/cmake/ZinLogger/ZinLoggerTargets.cmake
f $lib/libZinLogger.so.1.0.0
f $lib/pkgconfig/zinlogger.pc
f share/man/man3/zinlogger.3
f share/zinlogger/tsan.supp
l $lib/libZinLogger.so -> libZinLogger.so.1
l $lib/libZinLogger.so.1 -> libZinLogger.so.1.0.0
END
  )
  actual=$(find "$prefix" -type l -printf 'l %P -> %l\n' -o ! -type d -printf '%y %P\n' |
    LC_ALL=C sort)
  diff <(echo "$expected") <(echo "$actual") || fail "the installed files differ as shown"
  # Consumers see one library; what it is made of must not leak into their link.
  if grep -rE 'ZinDateTime|ZinSysInfo|ZinSafeString|ZinBuildFlags' "$prefix/$lib/cmake" \
    "$prefix/$lib/pkgconfig"; then
    fail "these lines of the package files name internal parts"
  fi
}

# check_cmake_consumer PREFIX COMPILER [FLAG]
check_cmake_consumer() {
  local build=$scratch/cmake-consumer
  cmake -S "$consumer" -B "$build" -DCMAKE_PREFIX_PATH="$1" -DCMAKE_CXX_COMPILER="$2" \
    -DCMAKE_CXX_FLAGS="${3:-}"
  cmake --build "$build"
  check_consumer "$build/consumer" "$scratch/cmake-logs"
}

# check_pkg_config_consumer PREFIX LIBDIR COMPILER [FLAG]
check_pkg_config_consumer() {
  local libraries=$1/$2 compiler=$3 program=$scratch/pkg-config-consumer/consumer answer flags
  mkdir -p "$(dirname "$program")"
  answer=$(PKG_CONFIG_PATH=$libraries/pkgconfig pkg-config --cflags --libs zinlogger)
  read -ra flags <<<"$answer"
  "$compiler" -std=c++11 -Wall -Wextra -Wpedantic -Werror ${4:+"$4"} "$consumer/main.cpp" \
    -o "$program" "${flags[@]}"
  LD_LIBRARY_PATH=$libraries check_consumer "$program" "$scratch/pkg-config-logs"
}

# check_consumer PROGRAM LOG-DIRECTORY: runs it and reads what it logged.
check_consumer() {
  local program=$1 logs=$2 header
  header='\[consumer\] \[[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\.[0-9]{3}\] \[[0-9]+\]'
  "$program" "$logs" >"$scratch/output"

  expect_line "$logs/app.log" "$header \[INFO\] \[main.cpp:7\] \[main\]: the answer is 42"
  expect_line "$scratch/output" "$header \[INFO\] \[main.cpp:7\] \[main\]: the answer is 42"
  expect_line "$logs/net/app.log" "$header \[WARN\] \[main.cpp:9\] \[main\]: in a file of its own"
  expect_line "$logs/metrics/metrics.log" 'answers=1'
  expect_line "$logs/app.log" "$header \[INFO\] .*: @@@@ LOG EXIT @@@@"
  if grep 'below the threshold' -r "$logs"; then fail "this line should have been dropped"; fi
}

# expect_line FILE EXPRESSION: exactly one line matches it as a whole.
expect_line() {
  if [[ $(grep -cxE -- "$2" "$1") != 1 ]]; then
    cat "$1" >&2 || true
    fail "not exactly one line '$2' in $1, shown above"
  fi
}
