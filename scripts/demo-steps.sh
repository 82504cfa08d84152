# shellcheck shell=bash
# The steps of the demo. Sourced by it.
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

readonly build=$sourceTree/build/demo
readonly work=$build/run
readonly differentPaths=40 requestsPerPath=1000
readonly missingPaths=6 requestsPerMissingPath=1000 otherRequests=400

folder=              # what is served
paths=()             # files below it
url=                 # of the running service
logs=                # its log directory
servicePid=          # empty when none is running
clientRequests=0     # what the client counted since the service started
clientRefused=0
serviceCounts=       # what the service printed when it stopped

trap stop_leftover EXIT
stop_leftover() {
  [[ -n $servicePid ]] || return 0
  kill -TERM "$servicePid" 2>/dev/null || return 0
  wait "$servicePid" || true
}

# A path as it is printed: from the source tree on.
shown() {
  echo "${1#"$sourceTree"/}"
}

build_service() {
  need_directory "$build"
  rm -rf "$work"
  mkdir "$work"
  quietly cmake -S "$sourceTree" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DBUILD_TESTING=OFF -DZIN_BUILD_EXAMPLES=ON || die "the build could not be configured"
  timed "Building the example service" cmake --build "$build" --target fileserver ||
    die "the build failed"
  echo "Built $(shown "$build")/examples/service/fileserver ($SECONDS s)"
}

# Files whose names need no percent-encoding, spread evenly over the folder.
list_paths() {
  find "$1" -type f -readable -size -256k -printf '%P\n' |
    LC_ALL=C grep -E '^[A-Za-z0-9._/+-]+$' | LC_ALL=C sort |
    awk -v wanted="$differentPaths" '
      { path[NR] = $0 }
      END {
        count = NR < wanted ? NR : wanted
        for (i = 0; i < count; ++i) print path[1 + int(i * NR / count)]
      }' || true
}

choose_folder() {
  folder=/usr/share/doc
  mapfile -t paths < <(list_paths "$folder" 2>/dev/null)
  if [[ ${#paths[@]} -lt 2 ]]; then
    echo "$folder is empty here (small systems leave documentation out):" \
      "serving the sources of this project instead"
    folder=$sourceTree/BaseAPI
    mapfile -t paths < <(list_paths "$folder")
  fi
}

# Waits up to ten seconds until a command succeeds.
wait_until() {
  local tries
  for ((tries = 0; tries < 200; ++tries)); do
    if "$@"; then return 0; fi
    sleep 0.05
  done
  die "waited in vain: $*"
}

# start_service NAME ARGUMENT...: with a log directory of its own.
start_service() {
  local output=$work/$1.out
  logs=$work/$1/logs
  shift
  clientRequests=0 clientRefused=0
  echo "fileserver --root $folder --log-dir $(shown "$logs") $*"
  "$build/examples/service/fileserver" --root "$folder" --log-dir "$logs" "$@" >"$output" &
  servicePid=$!
  wait_until service_is_ready_or_gone "$output"
  url=$(head -n 1 "$output")
  url=${url%/}
  [[ -n $url ]] || die "the service did not start"
}

service_is_ready_or_gone() {
  [[ -s $1 ]] || ! kill -0 "$servicePid" 2>/dev/null
}

stop_service() {
  local pid=$servicePid
  servicePid=
  kill -TERM "$pid"
  wait "$pid" || die "the service ended with exit code $?"
  serviceCounts=$(tail -n 1 "$work/$(basename "$(dirname "$logs")").out")
  echo "service stopped with SIGTERM: $serviceCounts"
}

# ask URL ARGUMENT...: lets the client ask, eight requests at a time, and adds
# up what it counted.
ask() {
  local target=$1 report
  shift
  report=$(ab -q -c 8 "$@" "$target" 2>&1) || die "the client failed at $target: $report"
  clientRequests=$((clientRequests + $(number_after 'Complete requests:' "$report")))
  clientRefused=$((clientRefused + $(number_after 'Non-2xx responses:' "$report")))
}

# The rest of the line that begins with a label; 0 when there is none.
number_after() {
  local number
  number=$(sed -n "s/^$1 *//p" <<<"$2")
  echo "${number:-0}"
}

with_first_letter_encoded() {
  printf '%%%02x%s' "'$1" "${1:1}"
}

ask_for_everything() {
  local path i
  for path in "${paths[@]}"; do
    ask "$url/$path" -n "$requestsPerPath"
  done
  # The same files under names that need decoding, and without their contents.
  ask "$url/$(with_first_letter_encoded "${paths[0]}")" -n "$otherRequests"
  ask "$url/${paths[0]}" -i -n "$otherRequests"
  echo "asked for ${#paths[@]} files: $clientRequests requests, $clientRefused refused"
  for ((i = 1; i <= missingPaths; ++i)); do
    ask "$url/missing/file-$i" -n "$requestsPerMissingPath"
  done
  ask "$url/..%2f..%2fetc/passwd" -n "$otherRequests"
  ask "$url/${paths[0]}" -m DELETE -n "$otherRequests"
  echo "asked for what must be refused as well: $clientRequests requests," \
    "$clientRefused refused"
}

# Mode, owner, size and name of everything below a directory.
show_tree() {
  echo "$(shown "$1"):"
  find "$1" -mindepth 1 -printf '%P\t%M %u:%g\t%s\t%d\t%f\t%y\n' | LC_ALL=C sort |
    awk -F '\t' '{ printf "  %-24s %8d  %*s%s%s\n", $2, $3, 2 * ($4 - 1), "", $5, $6 == "d" ? "/" : "" }'
}

show_last_lines() {
  local file rotated
  rotated=$(find "$logs" -maxdepth 1 -name 'app_*.log' | LC_ALL=C sort | tail -n 1)
  for file in "$logs/app.log" "$rotated" "$logs/failed/app.log" "$logs/metrics/metrics.log"; do
    [[ -n $file ]] || continue
    printf '\n%s ends with:\n' "${file#"$logs"/}"
    tail -n 3 "$file"
  done
  # The oldest file of the run begins with what happened at the start.
  printf '\n%s begins with:\n' "$(basename "$(oldest_app_log)")"
  head -n 3 "$(oldest_app_log)"
  if grep -q 'owner = qorsrvr' "$(oldest_app_log)"; then
    echo "(Log files are handed to the service account qorsrvr. This machine has none," \
      "which the logger reports once per process.)"
  fi
}

# The current file sorts before the rotated ones, whose names sort by age.
oldest_app_log() {
  local rotated
  rotated=$(find "$logs" -maxdepth 1 -name 'app_*.log' | LC_ALL=C sort | head -n 1)
  echo "${rotated:-$logs/app.log}"
}

# Request lines in the log files directly in a directory.
request_lines() {
  find "$1" -maxdepth 1 -name '*.log' -exec cat {} + | grep -c ' \[LogRequest\]: ' || true
}

check_account() {
  local answered failed served recorded
  answered=$(request_lines "$logs")
  failed=$(request_lines "$logs/failed")
  served=$(sed -n 's/^requests=\([0-9]*\) .*/\1/p' <<<"$serviceCounts")
  recorded=$(tail -n 1 "$logs/metrics/metrics.log" | sed -n 's/.* requests=\([0-9]*\) .*/\1/p')
  printf '%8d requests counted by the client, %d of them refused\n' "$clientRequests" \
    "$clientRefused"
  printf '%8d requests counted by the service\n' "$served"
  printf '%8d requests in the last metrics record\n' "$recorded"
  printf '%8d request lines in the files: %d in app logs, %d in failed/ app logs\n' \
    $((answered + failed)) "$answered" "$failed"
  [[ $clientRequests -gt 0 && $((answered + failed)) -eq $clientRequests &&
    $failed -eq $clientRefused && $served -eq $clientRequests &&
    $recorded -eq $clientRequests ]] || die "the numbers differ"
  echo "All agree: every request has exactly one line."
}

# check_keep_count COUNT: holds the rotated files against the keep count. Their
# names carry a number that counts the rotations from 000 on.
check_keep_count() {
  local rotated newest rotations
  mapfile -t rotated < <(find "$logs" -maxdepth 1 -name 'app_*.log' -printf '%f\n' | LC_ALL=C sort)
  [[ ${#rotated[@]} -gt 0 ]] || die "nothing was rotated"
  newest=${rotated[-1]}
  [[ $newest =~ ^app_[0-9]+-([0-9]+)- ]] || die "unexpected name: $newest"
  rotations=$((10#${BASH_REMATCH[1]} + 1))
  show_tree "$logs"
  echo "$clientRequests requests filled the file $rotations times; ${#rotated[@]} rotated files" \
    "are left, with the newest $(request_lines "$logs") request lines"
  [[ $rotations -gt $1 ]] || die "too few rotations to see the keep count at work"
  [[ ${#rotated[@]} -eq $1 ]] || die "${#rotated[@]} rotated files instead of $1"
}

# prepare_old_files NAME COUNT KIB: a log directory as earlier runs leave it.
prepare_old_files() {
  local directory=$work/$1/logs day name
  mkdir -p "$directory"
  for ((day = 1; day <= $2; ++day)); do
    name=$(printf 'app_202501%02d120000000-000-1.log' "$day")
    head -c "$(($3 * 1024))" /dev/zero | tr '\0' '\n' >"$directory/$name"
    touch -d "$(printf '2025-01-%02d 12:00:00' "$day")" "$directory/$name"
  done
  echo "before: $2 old files of $3 KiB"
}

# directory_holds_at_most NUMBER files|KiB: what lies directly in `logs`.
directory_holds_at_most() {
  find "$logs" -maxdepth 1 -name '*.log' -printf '%s\n' |
    awk -v most="$1" -v unit="$2" '
      { bytes += $1 }
      END { exit (unit == "files" ? NR : bytes / 1024) > most }'
}
