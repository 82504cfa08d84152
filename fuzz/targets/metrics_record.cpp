// A metrics call with any format and values: the record that is queued or
// shown, the count, and the report of a record that cannot be.
//
// Input: whether the channel runs, the privacy switch, format, errno, values.
#include <cerrno>

#include "CapturedErrorStream.h"
#include "Expect.h"
#include "FormatPlan.h"
#include "Line.h"
#include "ZinLoggerPrivate.h"
#include "support/FacadeState.h"

namespace {

constexpr std::size_t longestRecord = 8190;

void CallMetrics(const FormatPlan& plan) {
  using Call = void (ZinLogger::*)(const char*, ...);
  const Call call = &ZinLogger::Metrics;
  CallWithValues(plan, [&](const char* format, auto... values) {
    (ZinLogger::GetInstance()->*call)(format, values...);
    ExpectEqual("errno after the call", plan.callersErrno, errno);
  });
}

// Empty when the record is lost.
std::string RecordOf(const FormattedText& formatted) {
  std::string text = formatted.text;
  if (formatted.failed || text.size() > longestRecord) return {};
  if (text.empty() || text.front() == '\0') return {};
  if (text.back() != '\n') text += '\n';
  return UpToNul(text);
}

// A report is a line of the log channel, which is stopped here. Its source line
// is the library's own business.
void ExpectReport(const std::string& shown) {
  const std::string before = "[demo] [2026-01-05 09:03:07.042] [1234] [ERROR] [ZinLogger:";
  const std::string behind = "] [Metrics]: Maybe metrics data len > 8192 !!!\n";
  const std::size_t end = shown.find(']', before.size());
  if (!shown.starts_with(before) || end == std::string::npos || shown.substr(end) != behind) {
    FailExpectation("the report of a lost record", before + "<line>" + behind, shown);
  }
}

std::string TakeQueued(BlockingQueue& queue, BlockingQueue::Generation worker) {
  LogRecord record;
  if (queue.Size() > 0) queue.WaitPop(worker, record);
  ExpectEqual("the key of a metrics record", "", record.first);
  ExpectEqual("records left", std::uint64_t{0}, queue.Size());
  return record.second;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  (void)TakeErrorStream();
  Fields input(data, size);
  const bool running = input.NextNumber(0, 1) == 1;
  const auto privacy = static_cast<int>(input.NextNumber(-1, 1));
  FormatPlan plan;
  ReadFormatPlan(input, plan);

  ZinLogger& logger = *ZinLogger::GetInstance();
  Install(LineParts{});
  logger.MetricsGetPrivSwitch(privacy);
  (void)logger.ResetMetricsCount();
  BlockingQueue& queue = FacadeState().metricsQueue;
  queue.SetCapacity(10);
  const BlockingQueue::Generation worker = queue.Start();
  if (!running) queue.MarkStopped(worker);

  const bool recorded = privacy == 0 && !plan.format.empty();
  const std::string record = recorded ? RecordOf(Format(plan)) : "";
  CallMetrics(plan);
  const std::string queued = TakeQueued(queue, worker);
  queue.MarkStopped(worker);
  const std::string shown = TakeErrorStream();

  ExpectEqual("the queued record", running ? record : "", queued);
  ExpectEqual("the count", record.empty() ? 0 : 1, logger.GetMetricsCount());
  if (recorded && record.empty()) {
    ExpectReport(shown);
  } else {
    ExpectEqual("the record at standard error", running ? "" : record, shown);
  }
  return 0;
}
