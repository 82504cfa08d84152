#!/usr/bin/env bash
# Installs the built tree and uses it as two kinds of applications do.
#
#   built_tree_serves_consumers.sh BUILD-TREE BUILD-TYPE LIBDIR COMPILER [SANITIZER-FLAG]
# shellcheck source-path=SCRIPTDIR
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/package_checks.sh"

[[ $# -ge 4 ]] || fail "needs a build tree, its type, the library directory and a compiler"
builtTree=$1 buildType=$2 libraryDirectory=$3 compiler=$4 sanitizerFlag=${5:-}

cmake --install "$builtTree" --prefix "$scratch/installed"

check_installed_files "$scratch/installed" "$libraryDirectory" "$buildType"
check_cmake_consumer "$scratch/installed" "$compiler" "$sanitizerFlag"
check_pkg_config_consumer "$scratch/installed" "$libraryDirectory" "$compiler" "$sanitizerFlag"

# The tools are a component of their own, for those who ask for it.
cmake --install "$builtTree" --prefix "$scratch/installed" --component tools
export LD_LIBRARY_PATH=$scratch/installed/$libraryDirectory
for tool in zinpipe zinlogger-split; do
  [[ $("$scratch/installed/bin/$tool" --version) == *" 1.0.0" ]] || fail "$tool does not run"
  [[ -f $scratch/installed/share/man/man1/$tool.1 ]] || fail "$tool has no manual page"
done
