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
  local missing=() package log
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [[ ${#missing[@]} -gt 0 ]] || return 0

  command -v apt-get >/dev/null || die "please install: ${missing[*]} (there is no apt-get here)"
  if [[ $EUID -ne 0 ]] && ! command -v sudo >/dev/null; then
    die "please install: ${missing[*]} (not root, and there is no sudo)"
  fi
  echo "Installing: ${missing[*]}"
  log=$(mktemp)
  if ! {
    as_root apt-get -q update &&
      as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -q -y --no-install-recommends install "${missing[@]}"
  } >"$log" 2>&1 </dev/null; then
    tail -n 5 "$log" >&2
    rm -f "$log"
    die "could not install: ${missing[*]}"
  fi
  rm -f "$log"
}

# Runs a command whose output matters only when it fails.
quietly() {
  local log status=0
  log=$(mktemp)
  "$@" >"$log" 2>&1 || status=$?
  [[ $status -eq 0 ]] || tail -n 40 "$log" >&2
  rm -f "$log"
  return "$status"
}

# Creates a directory below the source tree, or says why it cannot be used.
need_directory() {
  if ! mkdir -p "$1" 2>/dev/null || [[ ! -w $1 ]]; then
    die "cannot write to $1 (does it belong to another user?)"
  fi
}
