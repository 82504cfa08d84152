#!/usr/bin/env bash
# Builds the README's first program in a tree that has the library's sources
# among its own, once for each block of CMake in the developers' page, runs it,
# and looks for the line that the README shows.
#
#   vendoring_samples_work.sh SOURCE-TREE COMPILER [SANITIZER-FLAG]
# shellcheck source-path=SCRIPTDIR
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package_checks.sh"
source "$(dirname "${BASH_SOURCE[0]}")/readme_sample.sh"

[[ $# -ge 2 ]] || fail "needs a source tree and a compiler"
sourceTree=$(realpath "$1") compiler=$2 sanitizerFlag=${3:-}
shown=$(readme_line "$sourceTree/README.md")

# sample NUMBER: that block of CMake of the page, nothing when there are fewer.
sample() {
  awk -v number="$1" '$0 == "```" { inside = 0 } inside && block == number { print }
    $0 == "```cmake" { inside = 1; ++block }' "$sourceTree/docs/DEVELOPERS.md"
}

number=1
while [[ -n $(sample $number) ]]; do
  project=$scratch/project$number
  mkdir -p "$project/third_party"
  ln -s "$sourceTree" "$project/third_party/libZinLogger"
  readme_sample "$sourceTree/README.md" cpp >"$project/main.cpp"
  {
    echo 'cmake_minimum_required(VERSION 3.25)'
    echo 'project(parent LANGUAGES CXX)'
    echo 'add_executable(demo main.cpp)'
    sample $number
  } >"$project/CMakeLists.txt"

  cmake -S "$project" -B "$project/build" -DBUILD_TESTING=OFF -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_FLAGS="$sanitizerFlag"
  cmake --build "$project/build" --target demo --parallel 2
  (cd "$project" && build/demo)
  grep -qF -- "$shown" "$project/logs/app.log" ||
    fail "sample $number: no line of logs/app.log ends like the README's: $shown"
  number=$((number + 1))
done
[[ $number -eq 3 ]] || fail "the page has $((number - 1)) blocks of CMake, not 2"
