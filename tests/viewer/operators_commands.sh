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

# A file that was finished while the clock was ahead.
ahead() { find "$logs" -name 'app_2099*' | wc -l; }
finished=$(find "$logs" -name 'app_*.log' | sort | head -n 1)
mv "$finished" "${finished%app_*}app_20990105090307042-000-${finished##*-}"
touch -d 2099-01-05 "$logs"/app_2099*
files=$(find "$logs" -type f | wc -l)

# The library's own lines that the page calls normal, as the newest of the log.
grep -a '^\[demo\] .*\[ZinChownDirAndFirstDepthFiles\]: ' "$page" >"$scratch/normal"
[[ $(wc -l <"$scratch/normal") -eq 3 ]] || {
  echo "operators_commands.sh: $page does not show three normal lines" >&2
  exit 1
}
cat "$scratch/normal" >>"$logs/app.log"

filters=0
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
  # Those that leave the normal lines out show others.
  if [[ $commands == *ZinChownDirAndFirstDepthFiles* ]]; then
    filters=$((filters + 1))
    if grep -q ZinDir "$scratch/out" || ! grep -q paced_service "$scratch/out"; then
      printf 'operators_commands.sh: this shows a normal line, or no other:\n%s\n' "$commands" >&2
      exit 1
    fi
  fi
done < <(awk '/^```sh$/ { inside = 1; next } inside && /^```$/ { inside = 0; printf "%c", 0; next }
  inside { print }' "$page")
[[ $block -ge 9 && $filters -eq 2 ]] || {
  echo "operators_commands.sh: only $block blocks, $filters with a filter" >&2
  exit 1
}
[[ $(ahead) -eq 0 && $(find "$logs" -type f -newermt '1 minute' | wc -l) -eq 0 &&
  $(find "$logs" -type f | wc -l) -eq $files ]] || {
  echo "operators_commands.sh: a file that was dated in the future is still, or is gone" >&2
  exit 1
}
echo "$block blocks of commands ran"
