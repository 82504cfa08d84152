#include "Pump.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace {

constexpr int followMilliseconds = 100;  // between two looks at a followed file
constexpr int settleMilliseconds = 20;   // of silence, until what was handed over is looked for
constexpr int idleMilliseconds = 1000;   // until the files are looked after again

// After a signal, so much of each input is still taken: what its writer had
// written by then, but not the output of a writer that goes on.
constexpr std::size_t mostAfterSignal = std::size_t{1} << 20;

std::uint64_t TotalSize(const std::vector<Input>& inputs) {
  std::uint64_t bytes = 0;
  for (const Input& input : inputs) bytes += input.SizeAtStart();
  return bytes;
}

bool IsReadable(int descriptor) {
  pollfd waiting{descriptor, POLLIN, 0};
  return poll(&waiting, 1, 0) > 0;
}

}  // namespace

Pump::Pump(const Options& options, std::vector<Input> inputs, Signals& stopSignals, Echo& echoed,
           Delivery& to)
    : signals(stopSignals),
      echo(echoed),
      delivery(to),
      drain(options.drainSeconds),
      progress(TotalSize(inputs)) {
  using Packing = LineSplitter::Packing;
  const Packing packing = options.stamp ? Packing::OneLine : Packing::ManyLines;
  for (Input& input : inputs) {
    LineSplitter splitter(delivery.LongestRecord(input.Name()), packing);
    sources.push_back({std::move(input), std::move(splitter)});
  }
}

void Pump::Run() {
  bool readSome = true;
  while (!AllAtEnd()) {
    WaitForMore(readSome);
    if (!MayGoOn()) {
      TakeWhatIsThere();
      break;
    }
    if (signals.TakeRotation()) delivery.BeginNewFile();
    readSome = inputIsReady && ReadOnce();
  }
  for (Source& source : sources) DeliverRest(source);
}

// False: a signal has come, and the writer has had its time to finish.
bool Pump::MayGoOn() {
  if (signals.Stops() == 0) return true;
  if (signals.MustStopAtOnce() || !sources.front().input.HasWriter()) return false;
  const Clock::time_point now = Clock::now();
  if (stopAt == Clock::time_point::max()) stopAt = now + drain;
  if (now < stopAt) return true;
  if (drain.count() > 0) {
    Say("the writer still has the pipe open, " +
        Counted(static_cast<std::uint64_t>(drain.count()), "second") +
        " after the signal to stop; what it writes from now on is not read");
  }
  return false;
}

int Pump::MillisecondsToWait(bool readSome) const {
  if (sources.front().input.DescriptorToWaitFor() < 0) return readSome ? 0 : followMilliseconds;
  const int most = delivery.AllSeen() ? idleMilliseconds : settleMilliseconds;
  if (stopAt == Clock::time_point::max()) return most;
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(stopAt - Clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count() + 1, 0, most));
}

void Pump::WaitForMore(bool readSome) {
  const int input = sources.front().input.DescriptorToWaitFor();
  std::array<pollfd, 2> waiting{{{signals.Descriptor(), POLLIN, 0}, {input, POLLIN, 0}}};
  const int milliseconds = MillisecondsToWait(readSome);
  const int ready = poll(waiting.data(), waiting.size(), milliseconds);
  if (ready == 0 && milliseconds > 0) {
    delivery.Settle();
    delivery.LookAfterFiles();
  }
  inputIsReady = input < 0 || waiting[1].revents != 0;
  if (waiting[0].revents != 0) signals.Take();
}

bool Pump::ReadOnce() {
  bool readSome = false;
  for (Source& source : sources) {
    if (source.input.AtEnd()) continue;
    if (ReadFrom(source) > 0) {
      readSome = true;
    } else if (source.input.MoveToReplacement()) {
      DeliverRest(source);
      source.line = 0;
      readSome = true;
    }
  }
  return readSome;
}

std::size_t Pump::ReadFrom(Source& source) {
  char* const room = source.splitter.Room();
  const std::size_t count = source.input.Read(room, source.splitter.RoomSize());
  if (count == 0) return 0;
  echo.Copy({room, count});
  source.splitter.Added(count);
  bytesRead += count;
  progress.Show(bytesRead);
  DeliverRecords(source);
  return count;
}

// A signal has come.
void Pump::TakeWhatIsThere() {
  for (Source& source : sources) {
    std::size_t taken = 0;
    const int descriptor = source.input.DescriptorToWaitFor();
    while (taken < mostAfterSignal && (descriptor < 0 || IsReadable(descriptor))) {
      const std::size_t count = ReadFrom(source);
      if (count == 0) break;
      taken += count;
    }
  }
}

void Pump::DeliverRecords(Source& source) {
  std::string_view record;
  while (source.splitter.Next(record)) Deliver(source, record);
}

void Pump::DeliverRest(Source& source) {
  std::string_view record;
  while (source.splitter.Last(record)) Deliver(source, record);
}

void Pump::Deliver(Source& source, std::string_view record) {
  const bool isNewLine = !source.splitter.LastResumes();
  if (isNewLine && source.line < std::numeric_limits<int>::max()) ++source.line;
  delivery.HandOver(record, source.input.Name(), source.line);
}

bool Pump::AllAtEnd() const {
  return std::all_of(sources.begin(), sources.end(),
                     [](const Source& source) { return source.input.AtEnd(); });
}

PumpTotals Pump::Totals() const {
  PumpTotals totals;
  for (const Source& source : sources) {
    totals.cutLines += source.splitter.CutLines();
    totals.cuts += source.splitter.Cuts();
    totals.nulBytes += source.splitter.NulBytes();
    totals.inputFailed = totals.inputFailed || source.input.HasFailed();
  }
  return totals;
}
