# shellcheck shell=bash
# Shared by the scripts of this folder: messages, packages, building. Sourced,
# not run; expects `set -euo pipefail`.

# shellcheck disable=SC2034  # used by the scripts
sourceTree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

die() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

headline() {
  printf '\n=== %s\n' "$*"
}

# The program by which a package is recognised, so that a tool from another
# source counts as well. Packages that are not listed are asked of dpkg.
declare -A programOf=(
  [apache2-utils]=ab
  [binutils]=readelf
  [clang]=clang++
  [cmake]=cmake
  [g++]=g++
  [make]=make
  [gnuplot-nox]=gnuplot
  [ninja-build]=ninja
  [pkg-config]=pkg-config
  [procps]=ps
  [python3]=python3
  [runit]=runsv
  [s6]=s6-svscan
  [strace]=strace
  [systemd]=systemd-analyze
  [util-linux]=unshare
)

is_installed() {
  local package=$1
  if [[ -n ${programOf[$package]:-} ]]; then
    command -v "${programOf[$package]}" >/dev/null
  else
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]]
  fi
}

# sudo may ask for a password only where somebody can answer.
someoneIsThere=no
[[ ! -t 0 ]] || someoneIsThere=yes

# Runs a command as root: directly, or with sudo.
as_root() {
  if [[ $EUID -eq 0 ]]; then
    "$@"
  elif [[ $someoneIsThere == yes ]]; then
    sudo "$@"
  else
    sudo -n "$@"
  fi
}

# Installs what is missing of the packages it is given.
need_packages() {
  local missing=() package
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [[ ${#missing[@]} -gt 0 ]] || return 0

  command -v apt-get >/dev/null || die "please install: ${missing[*]} (there is no apt-get here)"
  if [[ $EUID -ne 0 ]] && ! command -v sudo >/dev/null; then
    die "please install: ${missing[*]} (not root, and there is no sudo)"
  fi
  local packages=packages
  [[ ${#missing[@]} -ne 1 ]] || packages=package
  timed "Installing ${#missing[@]} $packages: ${missing[*]}" install_packages "${missing[@]}" ||
    die "could not install: ${missing[*]}"
}

install_packages() {
  as_root apt-get -q update &&
    as_root env DEBIAN_FRONTEND=noninteractive \
      apt-get -q -y --no-install-recommends install "$@"
}

# Runs a command whose output matters only when it fails.
quietly() {
  local log status=0
  log=$(mktemp)
  quietly_into "$log" "$@" || status=$?
  rm -f "$log"
  return "$status"
}

quietly_into() {
  local log=$1 status=0
  "${@:2}" >"$log" 2>&1 || status=$?
  [[ $status -eq 0 ]] || tail -n 40 "$log" >&2
  return "$status"
}

# The same for one that takes long: says what goes on, from time to time that it
# still does, and how many seconds it took.
#
#   timed "Building" cmake --build build
timed() {
  local what=$1 log begun=$SECONDS clock status=0
  echo "$what ..."
  log=$(mktemp)
  show_time_passing "$log" "$begun" &
  clock=$!
  quietly_into "$log" "${@:2}" </dev/null || status=$?
  kill "$clock" 2>/dev/null || true
  wait "$clock" 2>/dev/null || true
  [[ $status -ne 0 ]] || echo "  done in $((SECONDS - begun)) s"
  rm -f "$log"
  return "$status"
}

readonly secondsBetweenSigns=20

# Ends by itself a second after a script that was interrupted. What a build prints
# begins with the number of the step and that of all.
show_time_passing() {
  local log=$1 begun=$2 shown=$2 steps
  while sleep 1 >/dev/null 2>&1 && kill -0 "$$" 2>/dev/null; do
    ((SECONDS - shown >= secondsBetweenSigns)) || continue
    shown=$SECONDS
    steps=$(tail -n 1 "$log" | sed -nE 's/^\[([0-9]+)\/([0-9]+)\] .*/, \1 of \2 steps/p')
    echo "  $((SECONDS - begun)) s$steps"
  done
}

# Creates a directory below the source tree, or says why it cannot be used.
need_directory() {
  if ! mkdir -p "$1" 2>/dev/null || [[ ! -w $1 ]]; then
    die "cannot write to $1 (does it belong to another user?)"
  fi
}
