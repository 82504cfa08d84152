#!/usr/bin/env bash
# Keeps the include rule of the source tree, so that every header can be read
# and moved alone:
#
# - nobody includes a .cpp file
# - the public header includes the standard library alone, that of the macros
#   the public header, too
# - ZinLoggerPrivate.h includes BlockingQueue.h, Retention.h, the public header,
#   the mutex of the siblings and the standard library
# - any other header below BaseAPI is a leaf, but for the few pairs named below
# - the include graph has no circle
# - nothing below BaseAPI says __FILE__: what a line of the library shows as its
#   source must not depend on where the library was built. The macros for
#   applications are not the library.
set -euo pipefail

if [[ $# -ne 1 || ! -d $1/BaseAPI ]]; then
  echo "usage: check_includes.sh <top of the source tree>" >&2
  exit 2
fi
cd "$1"

folders=()
for folder in BaseAPI tests examples bench fuzz; do
  [[ -d $folder ]] && folders+=("$folder")
done

find "${folders[@]}" -type f \( -name '*.h' -o -name '*.cpp' \) -print0 | sort -z |
  xargs -0 awk '
    function fail(where, what) { print where ": " what; failures++ }
    function base(path) { sub(/.*\//, "", path); return path }

    # Follows the includes from `header`; `road` is how it was reached.
    function walk(header, road,    i, list, n) {
      if (visiting[header]) { fail(pathOf[header], "includes itself: " road); return }
      if (done[header]) return
      visiting[header] = 1
      n = split(includes[header], list, " ")
      for (i = 1; i <= n; i++) walk(list[i], road " -> " list[i])
      visiting[header] = 0
      done[header] = 1
    }

    BEGIN {
      allowed["ZinLoggerPrivate.h", "BlockingQueue.h"] = 1
      allowed["ZinLoggerPrivate.h", "Retention.h"] = 1
      allowed["ZinLoggerPrivate.h", "ZinLogger.h"] = 1
      allowed["ZinLoggerPrivate.h", "ZinForkMutex.h"] = 1
      allowed["BlockingQueue.h", "RecordFifo.h"] = 1
      allowed["BlockingQueue.h", "ZinForkMutex.h"] = 1
      allowed["RecentLogCache.h", "ZinForkMutex.h"] = 1
      allowed["ZinDirOwnership.h", "ZinForkMutex.h"] = 1
      allowed["LogFileWriter.h", "LogFileStream.h"] = 1
      allowed["LogFileWriter.h", "LineRun.h"] = 1
      allowed["RecordFifo.h", "LineRun.h"] = 1
      allowed["LineFormat.h", "ZinLogger.h"] = 1
      allowed["SelfLog.h", "ZinLogger.h"] = 1
      allowed["ZinLoggerMacros.h", "ZinLogger.h"] = 1
    }

    FNR == 1 {
      product = FILENAME ~ /^BaseAPI\//
      name = base(FILENAME)
      header = name ~ /\.h$/
      if (product && header) {
        if (name in pathOf) fail(FILENAME, "has the name of " pathOf[name])
        pathOf[name] = FILENAME
      }
    }

    { code = $0; sub(/\/\/.*/, "", code) }

    product && name != "ZinLoggerMacros.h" && code ~ /__FILE__/ { fail(FILENAME ":" FNR, "uses __FILE__") }

    $0 ~ /^[ \t]*#[ \t]*include/ {
      target = $0
      sub(/^[ \t]*#[ \t]*include[ \t]*/, "", target)
      quoted = target ~ /^"/
      sub(/^["<]/, "", target)
      sub(/[">].*/, "", target)
      if (target ~ /\.cpp$/) fail(FILENAME ":" FNR, "includes the source file " target)
      if (!product || !header) next

      standard = !quoted && target ~ /^[a-z_]+$/
      if (quoted) {
        if (!((name, target) in allowed)) fail(FILENAME ":" FNR, "must not include " target)
        includes[name] = includes[name] " " base(target)
      } else if (name ~ /^ZinLogger(Macros|Private)?\.h$/ && !standard) {
        fail(FILENAME ":" FNR, "<" target "> is not of the standard library")
      } else if (target ~ /^Zin/) {
        fail(FILENAME ":" FNR, "must not include " target)
      }
    }

    END {
      if (!("ZinLogger.h" in pathOf)) fail("BaseAPI", "the public header is missing")
      for (each in pathOf) walk(each, each)
      exit failures > 0
    }' >&2
