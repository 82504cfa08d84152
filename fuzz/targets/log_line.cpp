// A log call with any format and values, on a running and on a stopped channel:
// the line that is queued, shown and cached is the one that the parts make.
//
// Input: level, threshold, whether the channel runs, sub-directory key, process
// name, format, errno, values.
#include <cerrno>

#include "CapturedErrorStream.h"
#include "Expect.h"
#include "FormatPlan.h"
#include "Line.h"
#include "ZinLoggerPrivate.h"
#include "support/FacadeState.h"

namespace {

struct Outcome {
  std::string queuedKey, queuedLine, shown, cached;
};

void LogPlan(const LineParts& parts, const std::string& key, const FormatPlan& plan) {
  // A type without the attribute by which the compiler checks formats.
  using Call = void (ZinLogger::*)(const char*, int, const char*, const char*, const char*,
                                   LogLevel, const char*, ...);
  const Call call = &ZinLogger::Log;
  CallWithValues(plan, [&](const char* format, auto... values) {
    (ZinLogger::GetInstance()->*call)(parts.file, parts.line, parts.function, parts.tag,
                                      key.c_str(), parts.level, format, values...);
    ExpectEqual("errno after the call", plan.callersErrno, errno);
  });
}

std::string TakeCached() {
  std::string text = ZinGetCacheLog(2000);
  ZinClearLastLog(true);
  return text;
}

Outcome RunLog(bool running, const LineParts& parts, const std::string& key,
               const FormatPlan& plan) {
  BlockingQueue& queue = FacadeState().logQueue;
  queue.SetCapacity(10);
  const BlockingQueue::Generation worker = queue.Start();
  if (!running) queue.MarkStopped(worker);

  Outcome outcome;
  LogPlan(parts, key, plan);
  if (queue.Size() > 0) {
    LogRecord record;
    queue.WaitPop(worker, record);
    outcome.queuedKey = record.first;
    outcome.queuedLine = record.second;
    ExpectEqual("records left", std::uint64_t{0}, queue.Size());
  }
  queue.MarkStopped(worker);
  outcome.shown = TakeErrorStream();
  outcome.cached = TakeCached();
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  (void)TakeErrorStream();
  Fields input(data, size);
  LineParts parts;
  parts.level = static_cast<LogLevel>(input.NextNumber(-3, 8));
  const auto threshold = static_cast<LogLevel>(input.NextNumber(-3, 8));
  const bool running = input.NextNumber(0, 1) == 1;
  const std::string key = input.NextText();
  parts.process = input.NextText();
  FormatPlan plan;
  ReadFormatPlan(input, plan);

  Install(parts);
  ZinLogger::GetInstance()->SetLogLevel(threshold);
  std::string line;
  if (parts.level <= threshold) line = LineOf(parts, Format(plan));
  const Outcome outcome = RunLog(running, parts, key, plan);

  ExpectEqual("the queued line", running ? line : "", outcome.queuedLine);
  ExpectEqual("its key", running && !line.empty() ? key : "", outcome.queuedKey);
  ExpectEqual("the line at standard error", running ? "" : line, outcome.shown);
  ExpectEqual("the cached line", line, outcome.cached);
  return 0;
}
