#!/usr/bin/env bash
# Builds the README's first program with the README's lines for CMake, against
# an installed tree, runs it, and looks for the line that the README shows.
#
#   readme_samples_work.sh SOURCE-TREE BUILD-TREE COMPILER [SANITIZER-FLAG]
# shellcheck source-path=SCRIPTDIR
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package_checks.sh"

[[ $# -ge 3 ]] || fail "needs a source tree, its build tree and a compiler"
readme=$(realpath "$1/README.md") builtTree=$2 compiler=$3 sanitizerFlag=${4:-}

# sample LANGUAGE: the README's one block of that language.
sample() {
  [[ $(grep -c "^\`\`\`$1\$" "$readme") == 1 ]] || fail "not exactly one $1 block in $readme"
  awk -v begin="\`\`\`$1" '$0 == "```" { inside = 0 } inside { print } $0 == begin { inside = 1 }' \
    "$readme"
}

project=$scratch/project
mkdir "$project"
sample cpp >"$project/main.cpp"
{
  echo 'cmake_minimum_required(VERSION 3.25)'
  echo 'project(demo LANGUAGES CXX)'
  echo 'add_executable(demo main.cpp)'
  sample cmake
} >"$project/CMakeLists.txt"

cmake --install "$builtTree" --prefix "$scratch/installed"
cmake -S "$project" -B "$project/build" -DCMAKE_PREFIX_PATH="$scratch/installed" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$sanitizerFlag"
cmake --build "$project/build"
cd "$scratch"
"$project/build/demo"

shown=$(grep -oE '\[INFO\] \[main\.cpp:[0-9]+\] \[main\]: .*' "$readme")
grep -qF -- "$shown" logs/app.log || fail "no line of logs/app.log ends like the README's: $shown"
