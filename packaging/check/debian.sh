# shellcheck shell=bash
# A small Debian in a folder, `root`: making it, commands in it, and what has changed.
# Sourced; the output of dpkg goes to the file `dpkgOutput`.
# shellcheck disable=SC2154  # both are the caller's

fail() {
  echo "package check: $*" >&2
  exit 1
}

# The archive that apt uses here, so that a local mirror is used where there is one.
debian_archive() {
  apt-get indextargets --format '$(CODENAME) $(ORIGIN) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
    awk -v release="$1" '$1 == release && $2 == "Debian" && $3 == "main" { print $4; exit }'
}

# make_debian PACKAGE,...: the base with these packages, of the release that runs here.
make_debian() {
  local release archive log=$root.log
  release=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
  archive=$(debian_archive "$release")
  [[ -n $archive ]] || fail "apt knows no archive of Debian $release here"
  echo "A small Debian $release is made ..."
  debootstrap --variant=minbase --include="$1" "$release" "$root" "$archive" >"$log" 2>&1 || {
    tail -n 20 "$log" >&2
    fail "debootstrap failed"
  }
  echo "... and is ready after $SECONDS s"
}

readonly cleanEnvironment=(env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8
  DEBIAN_FRONTEND=noninteractive)

in_root() {
  chroot "$root" "${cleanEnvironment[@]}" "$@"
}

# as_account FOLDER COMMAND...: as qorsrvr, in a folder of the small Debian.
as_account() {
  local folder=$1
  shift
  chroot --userspec=qorsrvr:qorsrvr "$root" "${cleanEnvironment[@]}" \
    sh -c 'cd "$1" && shift && exec "$@"' sh "$folder" "$@"
}

# expect_same WHAT EXPECTED ACTUAL
expect_same() {
  diff -u <(echo "$2") <(echo "$3") >&2 || fail "$1 differs as shown (- expected, + found)"
}

# expect_said WORDS: the last call of dpkg said so.
expect_said() {
  grep -qF -- "$1" "$dpkgOutput" || {
    cat "$dpkgOutput" >&2
    fail "dpkg's output, above, does not say: $1"
  }
}

# expect_silence: the last call of dpkg had nothing to say for the library.
expect_silence() {
  if grep '^libzinlogger1: ' "$dpkgOutput" >&2; then fail "nothing should have been said"; fi
}

dpkg_in_root() {
  in_root dpkg "$@" >"$dpkgOutput" 2>&1 || {
    cat "$dpkgOutput" >&2
    fail "dpkg $* failed"
  }
}

install_all() {
  local files=("$root"/packages/*.deb)
  dpkg_in_root --install "${files[@]#"$root"}"
}

purge_all() {
  dpkg_in_root --purge zinlogger-tools libzinlogger-dev libzinlogger1
}

# What differs after each call of dpkg, whatever is installed: its own records, the
# cache of the dynamic linker, and the previous versions of the account files.
readonly records=(./var/lib/dpkg/status ./var/lib/dpkg/status-old ./var/lib/dpkg/lock
  ./var/lib/dpkg/triggers/Lock ./var/lib/dpkg/triggers/Unincorp ./var/log/dpkg.log
  ./etc/ld.so.cache ./var/cache/ldconfig/aux-cache ./etc/.pwd.lock
  './etc/passwd-' './etc/group-' './etc/shadow-' './etc/gshadow-')
# Ours: the packages and the programs compiled from them.
readonly scaffolding=(./packages ./trial ./proc)

# Prints every file with its type, mode, owner, size and target, and the contents
# of the account files.
snapshot() {
  local path skip=()
  for path in "${records[@]}" "${scaffolding[@]}"; do skip+=(-path "$path" -o); done
  (
    cd "$root" || exit
    find . -xdev \( "${skip[@]}" -false \) -prune -o \
      \( -type d -printf '%p %y %m %U:%G\n' -o -printf '%p %y %m %U:%G %s %l\n' \) | LC_ALL=C sort
    sha256sum etc/passwd etc/group etc/shadow etc/gshadow
  )
}

# expect_unchanged SNAPSHOT WHEN
expect_unchanged() {
  diff "$1" <(snapshot) >&2 || fail "these files differ $2 (< before, > after)"
}

# Mode, owner and path of everything below /var/log/qorlog.
log_tree() {
  in_root find /var/log/qorlog -printf '%M %u:%g %p\n' | LC_ALL=C sort -k 3
}
