"""What makes the library fast, each with the change that takes it out again.

(tactic, file below BaseAPI, old text, new text). The old text must occur exactly
once in the file; what comes out must still work.
"""

PRIVATE = "ZinLogger/src/ZinLoggerPrivate/"

TACTICS = [
    ("header put together, not formatted", PRIVATE + "line/LineFormat.cpp",
     "destMax == 0 ? 0 : std::min(count, destMax - 1);", "0 * std::min(count, destMax);"),
    ("text of the second kept per thread", PRIVATE + "line/LineFormat.cpp",
     "latest.length == 0 || latest.second != second", "true"),
    ("converted second kept per thread", "ZinDateTime/src/ZinDateTime.cpp",
     "if (!latest.IsOf(now)) latest = Convert(now);", "latest = Convert(now);"),
    ("thread id kept per thread", "ZinSysInfo/src/ZinSysInfo.cpp",
     "if (threadId == 0) threadId", "threadId"),
    ("lines kept as the difference to the line before", PRIVATE + "queue/RecordFifo.cpp",
     "const std::size_t shared = SharedLength(lastLine, line);",
     "(void)SharedLength;\n  const std::size_t shared = 0;"),
    ("the worker looks at the callers' count only when it has run out", PRIVATE + "queue/RecordFifo.cpp",
     "if (count >= appendedSeen) {", "if (appendedSeen = AppendedCount(); count >= appendedSeen) {"),
    ("callers look at the worker's count only when the queue seems full", PRIVATE + "queue/BlockingQueue.cpp",
     "if (appended - takenCountSeen < capacity) return true;\n", ""),
    ("the next record is fetched while one is written", PRIVATE + "queue/RecordFifo.cpp",
     "if (count + 1 < appendedSeen) {", "if (false) {"),
    ("the place of the next record is fetched while it is formatted", PRIVATE + "queue/RecordFifo.cpp",
     "  __builtin_prefetch(end + cacheLine, 1);\n  __builtin_prefetch(end + 2 * cacheLine, 1);\n", ""),
    ("one block is used again", PRIVATE + "queue/RecordFifo.cpp",
     "block->size == blockSize ? spareBlock.exchange(block) : block", "block"),
    ("short locks spin", PRIVATE + "queue/BriefLock.h", "mostAttempts = 100", "mostAttempts = 0"),
    ("the worker naps before it waits to be woken", PRIVATE + "queue/BlockingQueue.cpp",
     "mostNaps = 10;", "mostNaps = 0;"),
    ("written without a point of cancellation", PRIVATE + "file/LogFileStream.cpp",
     "syscall(SYS_write, descriptor, next, left)", "write(descriptor, next, left)"),
]
