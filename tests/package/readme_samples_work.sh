#!/usr/bin/env bash
# Builds the README's first program with the README's lines for CMake, against
# an installed tree, runs it, and looks for the line that the README shows. Then
# builds it by hand, and heals what the dynamic linker says as the README does.
#
#   readme_samples_work.sh SOURCE-TREE BUILD-TREE LIBDIR COMPILER [SANITIZER-FLAG]
# shellcheck source-path=SCRIPTDIR
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package_checks.sh"
source "$(dirname "${BASH_SOURCE[0]}")/readme_sample.sh"

[[ $# -ge 4 ]] || fail "needs a source tree, its build tree, the library directory and a compiler"
readme=$(realpath "$1/README.md") builtTree=$2 libraryDirectory=$3 compiler=$4 sanitizerFlag=${5:-}

project=$scratch/project
mkdir "$project"
readme_sample "$readme" cpp >"$project/main.cpp"
readme_project "$readme" >"$project/CMakeLists.txt"

cmake --install "$builtTree" --prefix "$scratch/installed"
cmake -S "$project" -B "$project/build" -DCMAKE_PREFIX_PATH="$scratch/installed" \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$sanitizerFlag"
cmake --build "$project/build"
cd "$scratch"
shown=$(readme_line "$readme")

# check_demo PROGRAM: it logs what the README shows.
check_demo() {
  rm -rf logs
  "$1"
  grep -qF -- "$shown" logs/app.log || fail "no line of logs/app.log ends like the README's: $shown"
}
check_demo "$project/build/demo"

# The README's prefix is the one of this test; the dynamic linker knows neither.
libraries=$scratch/installed/$libraryDirectory
by_hand() {
  "$compiler" ${sanitizerFlag:+"$sanitizerFlag"} project/main.cpp -I"$scratch/installed/include" \
    -L"$libraries" -lZinLogger "$@" -o demo
}
complaint=$(sed -nE 's/^If `\.\/demo` says `([^`]+)`.*/\1/p' "$readme")
remedy=$(grep -oE '`-Wl,[^`]+`' "$readme" | tr -d '`')
[[ -n $complaint && $remedy == */usr/local/lib* ]] || fail "the README does not say how the library is found"
by_hand
if ./demo 2>said; then fail "the library was found without being told of"; fi
grep -qF -- "$complaint" said || fail "the README quotes '$complaint', not: $(cat said)"
by_hand "${remedy//\/usr\/local\/lib/"$libraries"}"
check_demo ./demo
