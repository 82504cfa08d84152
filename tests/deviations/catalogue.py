"""Deliberate deviations: each is one small change that a test must notice.

(name, file below BaseAPI, old text, new text). The old text must occur exactly
once in the file.
"""

PRIVATE = "ZinLogger/src/ZinLoggerPrivate/"
FACADE = "ZinLogger/src/ZinLogger/"
DIR = "ZinLogger/src/unix/ZinDir/"

DEVIATIONS = [
    # ---- line format
    ("level names are padded to five characters", PRIVATE + "LineFormat.h", '"WARN", "INFO"', '"WARN ", "INFO "'),
    ("an unknown level reads outside the names", PRIVATE + "LineFormat.cpp", '"UNKNOWN"', '"?"'),
    ("milliseconds are not padded", PRIVATE + "LineFormat.cpp", "%.2d:%.2d:%.2d.%.3d]", "%.2d:%.2d:%.2d.%d]"),
    ("tag is bracketed", PRIVATE + "LineFormat.cpp", "[%s]%s[%s:%d]", "[%s][%s][%s:%d]"),
    ("a leading separator is cut off", PRIVATE + "LineFormat.cpp", "i > 1; --i", "i > 0; --i"),
    ("a backslash does not separate", PRIVATE + "LineFormat.cpp", '"\\\\/"', '"/"'),
    ("sequence in the stamp has two digits", PRIVATE + "LineFormat.cpp", "%.3d-%.3d-%d", "%.3d-%.2d-%d"),
    ("the metrics name has no process id", PRIVATE + "MetricsNames.cpp", 'std::to_string(ZinGetProcessId())', 'std::to_string(0)'),
    # ---- log call
    ("a line at the threshold is dropped", FACADE + "Log.cpp", "level > LoadPlain(state->logLevel)", "level >= LoadPlain(state->logLevel)"),
    ("a line holds 2045 characters", FACADE + "Log.cpp", "longestText = 2046;  // header and message\nstatic_assert(longestText + 2", "longestText = 2045;  // header and message\nstatic_assert(longestText + 3"),
    ("a cut line gets a newline", FACADE + "Log.cpp", "if (messageResult < 0) return true;", "if (messageResult < 0) { line[longestText] = '\\n'; line[longestText + 1] = '\\0'; return true; }"),
    ("an empty message prints its header", FACADE + "Log.cpp", "if (messageResult == 0) return false;", ""),
    ("a second newline is added", FACADE + "Log.cpp", "if (line[end - 1] != '\\n') {", "{"),
    ("errno is lost before the message", FACADE + "Log.cpp", "errno = callersErrno;  // for %m", "errno = 0;"),
    ("the caller's errno changes", FACADE + "Log.cpp", "  errno = callersErrno;\n}", "  errno = 71;\n}"),
    ("a header that is too long is dropped", FACADE + "Log.cpp", "if (headerResult < 0) return true;", "if (headerResult < 0) return false;"),
    ("lines do not reach the cache", FACADE + "Log.cpp", "RecentLogCache::Instance().Append(text);", ""),
    # ---- cache
    ("the cache holds 1501 lines", FACADE + "RecentLogCache.cpp", "capacity = 1500", "capacity = 1501"),
    ("a pending batch grows", FACADE + "RecentLogCache.cpp", "if (pendingBatch.empty()) {", "{"),
    ("an undelivered batch is forgotten", FACADE + "RecentLogCache.cpp", "if (!delivered) return;", ""),
    ("a batch takes one line more", FACADE + "RecentLogCache.cpp", "taken < maxLines &&", "taken <= maxLines &&"),
    # ---- facade and start checks
    ("a refused start keeps the old level", FACADE + "ZinLogger.cpp", "  StorePlain(state->logLevel, level);\n  StorePlain(state->logRunning, true);\n", "  StorePlain(state->logRunning, true);\n"),
    ("a null name is refused", FACADE + "ZinLogger.cpp", "    StopSystem();\n    return true;", "    return false;"),
    ("a one-letter directory is checked", FACADE + "StartChecks.cpp", "shortestCheckedDirectory = 2", "shortestCheckedDirectory = 1"),
    ("the directory is matched by case", FACADE + "StartChecks.cpp", "LowerCased(directory).find", "directory.find"),
    ("the last .log of a name counts", FACADE + "StartChecks.cpp", "fileName.find(logSuffix)", "fileName.rfind(logSuffix)"),
    ("limits are stored the other way round", FACADE + "ZinLogger.cpp", "StorePlain(state->logLimits.maxFileCount, maxFiles);", "StorePlain(state->logLimits.maxFileCount, maxMegabytes);"),
    ("default log limit is 101 files", PRIVATE + "ZinLoggerPrivate.h", "logLimits{100, 10}", "logLimits{101, 10}"),
    # ---- queue
    ("the queue takes one record too many", PRIVATE + "BlockingQueue.cpp", "capacity > records.size() && running", "capacity >= records.size() && running"),
    ("a stopped queue takes records", PRIVATE + "BlockingQueue.cpp", "capacity > records.size() && running", "capacity > records.size()"),
    ("a push wakes nobody", PRIVATE + "BlockingQueue.cpp", "Append(std::move(first), std::move(second));\n  }\n  condition.notify_one();", "Append(std::move(first), std::move(second));\n  }"),
    ("a worker that leaves wakes nobody", PRIVATE + "BlockingQueue.cpp", "StorePlain(running, false);\n  }\n  condition.notify_one();", "StorePlain(running, false);\n  }"),
    ("a start keeps stale exit markers", PRIVATE + "BlockingQueue.cpp", "return record.second.empty(); });", "return record.second.empty() && false; });"),
    ("a late worker stops its successor", PRIVATE + "BlockingQueue.cpp", "if (worker == currentGeneration) StorePlain(running, false);", "StorePlain(running, false);"),
    ("a late worker takes records", PRIVATE + "BlockingQueue.cpp", "if (records.empty() || worker != currentGeneration) return {};", "if (records.empty()) return {};"),
    ("a second start ends the first worker", PRIVATE + "BlockingQueue.cpp", "if (!running || stopRequested) ++currentGeneration;", "++currentGeneration;"),
    ("records leave in the wrong order", PRIVATE + "BlockingQueue.cpp", "records.emplace_back(std::move(first), std::move(second));", "records.emplace_front(std::move(first), std::move(second));"),
    ("the child of a fork goes on queueing", PRIVATE + "BlockingQueue.cpp", "  StorePlain(recordCount, 0);\n  StorePlain(running, false);", "  StorePlain(recordCount, 0);"),
    # ---- channels
    ("the size limit is not masked", PRIVATE + "ChannelThreads.cpp", "sizeLimitMask = 0xFFF", "sizeLimitMask = 0x1FFF"),
    ("library threads run signal handlers", PRIVATE + "ChannelThreads.cpp", "sigfillset(&all);", "sigemptyset(&all);"),
    ("the log exit line is an ERROR", PRIVATE + "ChannelThreads.cpp", 'INFO, "@@@@ LOG EXIT @@@@"', 'ERROR, "@@@@ LOG EXIT @@@@"'),
    ("a stop does not wait", PRIVATE + "ChannelThreads.cpp", "    logQueue.WaitUntilStopped();\n", ""),
    ("retention uses the other channel's limits", PRIVATE + "ChannelThreads.cpp", "metricsChannel ? metricsLimits : logLimits", "metricsChannel ? logLimits : metricsLimits"),
    ("retention runs every six seconds", PRIVATE + "ChannelThreads.cpp", "retentionPeriodMilliseconds = 60000", "retentionPeriodMilliseconds = 6000"),
    ("a bad standard error stays bad", PRIVATE + "StandardError.cpp", "std::cerr.clear();", ""),
    ("a broken pipe ends the process", PRIVATE + "StandardError.cpp", "const BrokenPipeGuard noBrokenPipe;", ""),
    # ---- writer and rotation
    ("a file at its limit rotates", PRIVATE + "LogFileWriter.cpp", "file.bytesWritten > sizeLimit", "file.bytesWritten >= sizeLimit"),
    ("log files get mode 0644", PRIVATE + "FileModes.h", "logFileMode = 0640", "logFileMode = 0644"),
    ("metrics files keep mode 0640", PRIVATE + "LogFileWriter.cpp", 'find("metrics") != std::string::npos', 'find("metrics") == 0'),
    ("a file left by an earlier run is overwritten", PRIVATE + "LogFileWriter.cpp", "IsReadable(path) ? RotateFile(path) : errno == ENOENT;", "false;"),
    ("old rotated files are kept", PRIVATE + "LogFileWriter.cpp", "    RemoveExcessRotatedFiles(*this, subDirKey);\n", ""),
    ("a line is held back until the next", PRIVATE + "LogFileStream.cpp", "  const char* next = text.data();\n  std::size_t left = text.size();", "  static std::string held;\n  std::string now = held;\n  held = text;\n  const char* next = now.data();\n  std::size_t left = now.size();"),
    ("an interrupted write loses the line", PRIVATE + "LogFileStream.cpp", "if (written < 0 && errno == EINTR) continue;", ""),
    ("log files survive exec", PRIVATE + "LogFileStream.cpp", "treatment | O_CLOEXEC |", "treatment |"),
    ("a log file is standard error for a moment", PRIVATE + "LogFileStream.cpp", "    const StandardDescriptorGuard guard;\n", ""),
    ("a log file may stay standard error", PRIVATE + "LogFileStream.cpp", "descriptor >= 0 && descriptor <= STDERR_FILENO", "descriptor >= 0 && descriptor < 0"),
    ("a second worker empties the first one's file", PRIVATE + "LogFileWriter.cpp", "nameIsFree ? Existing::Refuse : Existing::Empty", "Existing::Empty"),
    ("files are closed in no order", PRIVATE + "LogFileWriter.cpp", "file.reset();", "(void)file;"),
    ("the sequence is taken after the increment", PRIVATE + "LogFileRotation.cpp", "return taken;", "return next;"),
    ("the sequence has 1001 values", PRIVATE + "LogFileRotation.cpp", "next + 1 == sequenceCount ? 0", "next == sequenceCount ? 0"),
    ("a rotation overwrites a file", PRIVATE + "LogFileRotation.cpp", "to.c_str(), RENAME_NOREPLACE) == 0", "to.c_str(), 0) == 0"),
    ("every rotated file gets mode 0440", PRIVATE + "LogFileRotation.cpp", "if (RenameWithoutReplacing(path, rotatedName)) return true;", "if (RenameWithoutReplacing(path, rotatedName)) break;"),
    # ---- children of a fork
    ("a fork does not wait for an account lookup", DIR + "ZinDirOwnership.cpp", "  const std::lock_guard<std::mutex> lock(lookupMutex);\n", ""),
    ("a fork does not wait for a conversion of time", "ZinDateTime/src/ZinDateTime.cpp", "  const std::lock_guard<std::mutex> lock(conversionMutex);\n", ""),
    ("the second lags behind the tick", "ZinDateTime/src/ZinDateTime.cpp", "clock_gettime(CLOCK_REALTIME, &now);", "clock_gettime(CLOCK_REALTIME_COARSE, &now);"),
    # ---- retention
    ("a trim by count leaves the maximum", PRIVATE + "Retention.cpp", "fileCount - maxCount + 1", "fileCount - maxCount"),
    ("a trim by size frees no spare MiB", PRIVATE + "Retention.cpp", "totalBytes - maxBytes + bytesPerMiB", "totalBytes - maxBytes"),
    ("the total at its limit deletes", PRIVATE + "Retention.cpp", "if (totalBytes > maxBytes) {", "if (totalBytes >= maxBytes) {"),
    ("the newest file is deleted, too", PRIVATE + "Retention.cpp", "oldestFirst.size() - 1;", "oldestFirst.size();"),
    ("the newest files go first", PRIVATE + "Retention.cpp", "left.modifyTime < right.modifyTime", "left.modifyTime > right.modifyTime"),
    ("undated files are deleted", PRIVATE + "Retention.cpp", "if (modifyTime != 0) dated", "dated"),
    ("one rotated file more is kept", PRIVATE + "Retention.cpp", "if (excess <= 0) return;", "if (excess <= 1) return;"),
    # ---- directories and owners
    ("directories get mode 0755", PRIVATE + "FileModes.h", "logDirectoryMode = 0750", "logDirectoryMode = 0755"),
    ("mkdir is called on the empty string", PRIVATE + "MakeDirs.cpp", "std::size_t i = 1;", "std::size_t i = 0;"),
    ("sub-directories count as log files", DIR + "ZinDir.cpp", "if (!status || S_ISDIR(status->st_mode)) continue;", "if (!status) continue;"),
    ("a second .log makes no sibling less", DIR + "ZinDir.cpp", "name.find(logSuffix) == name.size()", "name.rfind(logSuffix) == name.size()"),
    ("siblings come newest first", DIR + "ZinDir.cpp", "  std::sort(names.begin(), names.end());\n", "  std::sort(names.rbegin(), names.rend());\n"),
    ("links are followed when owners change", DIR + "ZinDirOwnership.cpp", "if (lchown(path,", "if (chown(path,"),
    ("an unknown account is reported each time", DIR + "ZinDirOwnership.cpp", "if (FailedOwnerNames::Instance().Insert(owner)) {", "(void)FailedOwnerNames::Instance().Insert(owner);\n    {"),
    ("sub-directories change owner", DIR + "ZinDirOwnership.cpp", "== 0 && !S_ISDIR(status.st_mode)", "== 0"),
    ("the first failed owner does not end the walk", DIR + "ZinDirOwnership.cpp", "if (IsFile(child) && !ChangeOwner(child.c_str(), *account)) return failure;", "if (IsFile(child)) (void)ChangeOwner(child.c_str(), *account);"),
    # ---- metrics
    ("metrics ignore their switch", FACADE + "Metrics.cpp", "state == nullptr || LoadPlain(state->metricsPrivSwitch) != 0", "state == nullptr"),
    ("a record holds 8189 characters", FACADE + "Metrics.cpp", "longestRecord = 8190;\nstatic_assert(longestRecord + 2", "longestRecord = 8189;\nstatic_assert(longestRecord + 3"),
    ("dropped records are not counted", FACADE + "Metrics.cpp", "state->metricsCount.fetch_add(1);", "if (state->metricsQueue.IsRunning()) state->metricsCount.fetch_add(1);"),
    ("a record that begins with NUL is handed on", FACADE + "Metrics.cpp", "if (result <= 0 || buffer[0] == '\\0') return 0;", "if (result <= 0) return 0;"),
    ("the metrics directory gets mode 0750", PRIVATE + "FileModes.h", "metricsDirectoryMode = 0770", "metricsDirectoryMode = 0750"),
    ("a refused metrics start clears its flag", FACADE + "Metrics.cpp", "if (fileName == nullptr) return false;", "if (fileName == nullptr) { StorePlain(state->metricsRunning, false); return false; }"),
    ("the client directory loses its separator", FACADE + "MetricsDirectories.cpp", 'baseDir.back() == \'/\' ? "" : "/"', 'baseDir.back() == \'/\' ? "/" : ""'),
]
