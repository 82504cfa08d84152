#!/usr/bin/env bash
# Builds the README's first program with the README's lines for CMake, against
# an installed tree, runs it, and looks for the line that the README shows.
#
#   readme_samples_work.sh SOURCE-TREE BUILD-TREE COMPILER [SANITIZER-FLAG]
# shellcheck source-path=SCRIPTDIR
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package_checks.sh"
source "$(dirname "${BASH_SOURCE[0]}")/readme_sample.sh"

[[ $# -ge 3 ]] || fail "needs a source tree, its build tree and a compiler"
readme=$(realpath "$1/README.md") builtTree=$2 compiler=$3 sanitizerFlag=${4:-}

project=$scratch/project
mkdir "$project"
readme_sample "$readme" cpp >"$project/main.cpp"
readme_project "$readme" >"$project/CMakeLists.txt"

cmake --install "$builtTree" --prefix "$scratch/installed"
cmake -S "$project" -B "$project/build" -DCMAKE_PREFIX_PATH="$scratch/installed" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$sanitizerFlag"
cmake --build "$project/build"
cd "$scratch"
"$project/build/demo"

shown=$(readme_line "$readme")
grep -qF -- "$shown" logs/app.log || fail "no line of logs/app.log ends like the README's: $shown"
