#!/usr/bin/env bash
# Does what a reader of the README does: configures, builds and installs with the
# defaults of the machine, apart from all other builds.
#
#   plain_instructions_install_the_same.sh SOURCE-TREE
# shellcheck source-path=SCRIPTDIR
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package_checks.sh"

[[ $# -eq 1 ]] || fail "needs the source tree"

# The defaults: no compiler, flags or build type are chosen for the reader.
unset CXX CXXFLAGS CFLAGS LDFLAGS CMAKE_BUILD_TYPE
export CMAKE_BUILD_PARALLEL_LEVEL=2
cmake -S "$1" -B "$scratch/build" -DBUILD_TESTING=OFF
cmake --build "$scratch/build"
cmake --install "$scratch/build" --prefix "$scratch/installed"

check_installed_files "$scratch/installed" lib Release
check_cmake_consumer "$scratch/installed" c++
check_pkg_config_consumer "$scratch/installed" lib c++
