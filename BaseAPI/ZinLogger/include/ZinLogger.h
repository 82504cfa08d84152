// libZinLogger: diagnostic logs and metrics records of a long-running service,
// written to rotating files by a background thread.
//
//   #include <ZinLogger.h>
//
//   int main() {
//     ZinLogger* const logger = ZinLogger::GetInstance();
//     if (!logger->StartSystem("app.log", "./logs", 5, 10, INFO, 100000, true)) return 1;
//     logger->Log(__FILE__, __LINE__, __func__, " ", "", INFO, "listening on port %d", 8080);
//     logger->StopSystem();
//     return 0;
//   }
//
// gives ./logs/app.log with the line
//   [demo] [2026-01-05 09:03:07.042] [1234] [INFO] [main.cpp:6] [main]: listening on port 8080
//
// The road of a line: Log formats it in the caller's thread and puts it into a
// bounded queue; a worker thread appends it to the file, together with others that
// wait for the same one, rotates the file by size and removes the oldest rotated
// files; a second thread keeps the whole directory within its limits, once a minute.
//
// What can be lost: a caller never waits for the disk. A line that finds the
// queue full is dropped, and nobody is told. So are the lines that are still
// queued when the process ends without StopSystem, those that other threads log
// while it stops, a line whose file cannot be opened or written, and the old
// contents of a file that cannot be renamed.
//
// Two channels: the log channel (Log) and the metrics channel (Metrics). Each
// has a queue, a worker, a file and limits of its own. While a channel is not
// running its lines go to the standard error stream: the call writes them
// itself, and waits there when that is a pipe that is full.
//
// fork: a child starts with both channels stopped and may start its own.
// exec: no file of the library is passed on.
#ifndef ZIN_LOGGER_H
#define ZIN_LOGGER_H

#include <string>

#if defined(__GNUC__)
#define ZIN_LOGGER_API __attribute__((visibility("default")))
// Lets the compiler check the arguments against the format, as for printf.
#define ZIN_LOGGER_PRINTF(formatIndex, firstValue) \
  __attribute__((format(printf, formatIndex, firstValue)))
#else
#define ZIN_LOGGER_API
#define ZIN_LOGGER_PRINTF(formatIndex, firstValue)
#endif

// Programs are often built with macros of these names (-DDEBUG, -DERROR=0).
// They are set aside here and put back below, so that such a program compiles.
// Where one of them is a macro, name the level by its number:
// static_cast<LogLevel>(4) is DEBUG.
#pragma push_macro("FATAL")
#pragma push_macro("ERROR")
#pragma push_macro("WARN")
#pragma push_macro("INFO")
#pragma push_macro("DEBUG")
#undef FATAL
#undef ERROR
#undef WARN
#undef INFO
#undef DEBUG

// Severity of a line; lower is more severe. A line is emitted when its number
// is not greater than the threshold: -1 silences all, 4 lets all through.
enum LogLevel : int { FATAL = 0, ERROR = 1, WARN = 2, INFO = 3, DEBUG = 4 };

#pragma pop_macro("DEBUG")
#pragma pop_macro("INFO")
#pragma pop_macro("WARN")
#pragma pop_macro("ERROR")
#pragma pop_macro("FATAL")

class ZinLoggerPrivate;

// The process-wide logger. Every call may be made from any thread, unless it
// says otherwise. Calls made after the logger was destroyed at process exit do
// nothing.
class ZIN_LOGGER_API ZinLogger {
 public:
  // The one logger of the process, built on the first call. Never null.
  static ZinLogger* GetInstance() noexcept;

  ZinLogger(const ZinLogger&) = delete;
  ZinLogger& operator=(const ZinLogger&) = delete;

  // ---- Log channel -------------------------------------------------------

  // Starts the log channel.
  //
  // fileName       bare file name: ends in ".log", its only ".log", and holds
  //                no "/" (any other name of exactly three characters passes
  //                too, but "a/b" does not). At most 225 bytes: a longer one
  //                has no room for the 30 of a rotated name (NAME_MAX is 255),
  //                so its file is emptied instead of rotated. Null stops both
  //                channels and returns true.
  // dir            log directory, created when the first line is written; must
  //                hold "log" in any letter case, unless it is one character
  //                long. Null means ".". A relative one is looked up anew for
  //                each file, wherever the process is by then. "" passes and
  //                means "/", where nothing is ever removed.
  // keepFiles      rotated files kept per log file, newest by the time in the
  //                name; the others are removed after each rotation by size.
  //                0 keeps none, a negative number neither; one as close to
  //                INT_MIN as there are files wraps around and keeps all.
  // fileSizeMiB    a file that grows past this many MiB is rotated. Only the
  //                low 12 bits count: 4096 means 0, a rotation at every line,
  //                which never ends where each file adds a line of the
  //                library's own (where the service account exists).
  // level          threshold; see SetLogLevel.
  // queueCapacity  lines that the queue holds. A line that finds it full is
  //                dropped silently; 0 drops every line. While it waits, a
  //                line takes its length, less what it shares with the
  //                beginning of the line before it (process, date, thread; some
  //                60 bytes), and a few bytes.
  // (last)         ignored.
  //
  // A file of that name left by an earlier run is renamed aside, not appended
  // to. Returns false when name or directory is refused; the threshold has
  // then changed all the same. Throws std::system_error when a thread cannot
  // be created; the queue then runs without a worker, and what waits in it is
  // written by the next start that succeeds. A second call without a stop in
  // between adds one more worker to the same queue, with a file of its own:
  // which of them writes a line is chance. One stop ends them all.
  //
  // Files are opened later, by the worker and as the user that the process has
  // by then: change the user before the start.
  //
  // Call the start and stop functions from one thread.
  bool StartSystem(const char* fileName, const char* dir, int keepFiles, int fileSizeMiB,
                   LogLevel level, unsigned long queueCapacity, bool);

  // Stops both channels: logs "@@@@ LOG EXIT @@@@" at INFO and waits until the
  // worker has written every line queued before it, at most 10 seconds per
  // channel. Nothing is reported when the wait times out: the worker, hung or
  // busy, goes on as long as the process lives. Stop your own threads first: what
  // they log meanwhile is queued behind the end, and written by a later start
  // or never.
  void StopSystem();

  // Sets the threshold (default INFO), running or not. Any number is accepted.
  void SetLogLevel(LogLevel level);

  // Limits of the log directory as a whole, checked once a minute: the oldest
  // ".log" files are removed once there are more than maxFiles of them
  // (default 100), or more than maxMegabytes MiB in all (default 10). The
  // newest file always stays. Sub-directories are not looked at.
  void LimitLogPathSize(unsigned int maxFiles, unsigned int maxMegabytes);

  // Keeps a session id. It is printed nowhere.
  void ZinTraceSetSessionId(int sessionId);

  // File name of the last successful StartSystem; empty before. Not to be
  // called while another thread starts the channel.
  std::string GetLogName();

  // Writes one line: header, message, and a newline unless the message brings
  // its own.
  //
  // file       source path; the part after the last "/" or "\" is printed
  // line       source line
  // function   function name
  // tag        printed as it is between level and source location; " " is usual
  // subDirKey  "" for the log file itself; "net" writes to net/<file name> in
  //            the log directory instead. Must not be null while the channel
  //            runs. It becomes part of a path: never pass untrusted text. Each
  //            key holds a descriptor until the stop.
  // level      severity
  // format     printf format of the message, checked by the compiler. Never
  //            pass a text from outside as the format; use "%s".
  //
  // Header and message together hold at most 2046 bytes; a longer line is cut
  // there and has no newline. A message that formats to nothing writes nothing;
  // one that cannot be formatted (%ls of text that the locale lacks) leaves the
  // header alone, without a newline.
  // The line enters the cache of recent lines (ZinGetCacheLog) in any case.
  //
  // Never waits for the disk, only for standard error while lines go there.
  // Keeps errno (so that %m works) and never throws: exhausted memory ends the
  // process. A call below the threshold costs one comparison, but its arguments
  // are evaluated. Not to be called from a signal handler.
  void Log(const char* file, int line, const char* function, const char* tag, const char* subDirKey,
           LogLevel level, const char* format, ...) noexcept ZIN_LOGGER_PRINTF(8, 9);

  // ---- Metrics channel ---------------------------------------------------

  // Starts the metrics channel; parameters as for StartSystem, except:
  //
  // fileName         null is refused; GetMetricsLogName offers two names
  // dir              created with mode 0770, less the umask, where its parent
  //                  exists; else with the first record, as a log directory
  // requireLogInDir  whether dir must hold "log"
  //
  // Returns false when a check refuses. Throws as StartSystem does.
  bool StartSystemForMetrics(const char* fileName, const char* dir, int keepFiles, int fileSizeMiB,
                             unsigned long queueCapacity, bool requireLogInDir);

  // Stops the metrics channel alone; waits for its worker at most 10 seconds.
  // Logs "@@@@ METRICS EXIT @@@@" to the log channel.
  void StopMetricSystem();

  // Limits of the metrics directory (default 2 files, 2 MiB); see
  // LimitLogPathSize.
  void LimitMetricsPathSize(unsigned int maxFiles, unsigned int maxMegabytes);

  // Writes one record: the formatted text as it is, with a newline added unless
  // it ends in one. At most 8190 bytes; a longer or an empty record is lost,
  // not counted, and reported by an ERROR line in the log. Calls from several
  // threads take turns while they format. Never throws.
  void Metrics(const char* fmt, ...) noexcept ZIN_LOGGER_PRINTF(2, 3);

  // Sets the privacy switch (it sets, despite its name): 0 records metrics,
  // any other value makes Metrics do nothing.
  void MetricsGetPrivSwitch(int value);

  // Records counted since the start of the process or the last reset: those
  // handed on, whether or not they were dropped later. -10000 after the logger
  // was destroyed.
  int GetMetricsCount() const;

  // Sets the count to 0. Returns 0, or -10000 after the logger was destroyed.
  int ResetMetricsCount();

  // "metrics_<process id>.log" (the id at load time; a fork keeps it) when
  // perProcess is true, else "metrics.log". Owned by the library, valid as
  // long as it is loaded.
  const char* GetMetricsLogName(bool perProcess);

  // Stores baseDir + "/metrics" as the client metrics directory; an empty
  // baseDir changes nothing. Creates nothing. Not to be called while another
  // thread reads it.
  void SetClientMetricsLogDir(const std::string& baseDir);

  // The stored client metrics directory; empty at first.
  std::string GetClientMetricsLogDir();

  // "/var/log/qorlog/serverlog/metrics/" and the process name.
  std::string GetServerMetricsLogDir();

 private:
  ZinLogger();
  ~ZinLogger();

  ZinLoggerPrivate* d;
  char metricsBuffer[8192];
};

// The last 1500 lines of the process, for callers that show or send them.
//
// Returns the pending batch: at most maxLines of the oldest lines, joined (each
// brings its newline). It stays pending, and every further call returns it
// unchanged whatever maxLines says, until ZinClearLastLog(true). Empty when
// maxLines is less than 1 or no line is held. Metrics records never enter.
ZIN_LOGGER_API std::string ZinGetCacheLog(int maxLines);

// Confirms the pending batch: true forgets it, so that the next fetch takes
// fresh lines; false changes nothing, so that it is offered again.
ZIN_LOGGER_API void ZinClearLastLog(bool delivered);

#endif  // ZIN_LOGGER_H
