#!/usr/bin/env bash
# Runs the commands of the operators' page as they are written, but for the
# places of the directories: each block that is marked sh must succeed.
#
#   operators_commands.sh PAGE INSTALLED-TREE LOG-DIRECTORY
set -euo pipefail

[[ $# -eq 3 ]] || {
  echo "usage: operators_commands.sh PAGE INSTALLED-TREE LOG-DIRECTORY" >&2
  exit 2
}
page=$1 installed=$2 logs=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export HOME=$scratch TERM=dumb PATH=$installed/bin:$PATH
unset XDG_CONFIG_HOME

# Where lnav finds no folder for its own, it fills the working directory.
mkdir -p "$HOME/.config/lnav"
page=$(realpath "$page")
cd "$scratch"

# What a collector would have brought: all but one line.
mkdir "$scratch/collected"
zinlogger-split "$logs"/app_*.log | sed 1d >"$scratch/collected/host.log"

block=0
while IFS= read -r -d '' commands; do
  block=$((block + 1))
  commands=${commands//\/tmp\//$scratch/}
  commands=${commands//\/var\/log\/myservice/$logs}
  commands=${commands//\/var\/log\/collected/$scratch/collected}
  commands=${commands//\/usr\/share\/zinlogger/$installed/share/zinlogger}
  if ! bash -euc "$commands" >"$scratch/out" 2>"$scratch/err" </dev/null; then
    printf 'operators_commands.sh: this failed:\n%s\n' "$commands" >&2
    cat "$scratch/err" >&2
    exit 1
  fi
  # Each says something, but for those that only change files.
  if [[ ! -s $scratch/out && $commands != for* && $commands != "lnav -i "* ]]; then
    printf 'operators_commands.sh: this printed nothing:\n%s\n' "$commands" >&2
    exit 1
  fi
done < <(awk '/^```sh$/ { inside = 1; next } inside && /^```$/ { inside = 0; printf "%c", 0; next }
  inside { print }' "$page")
[[ $block -ge 6 ]] || {
  echo "operators_commands.sh: only $block blocks" >&2
  exit 1
}
echo "$block blocks of commands ran"
