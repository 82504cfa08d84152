#include "Pump.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace {

constexpr int followMilliseconds = 100;  // between two looks at a followed file
constexpr int settleMilliseconds = 20;   // of silence, until what was handed over is looked for

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

Pump::Pump(const Options& options, std::vector<Input> inputs, const StopSignals& stopSignals,
           Echo& echoed, Delivery& to)
    : signals(stopSignals), echo(echoed), delivery(to), progress(TotalSize(inputs)) {
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
    if (!WaitForMore(readSome)) {
      TakeWhatIsThere();
      break;
    }
    readSome = inputIsReady && ReadOnce();
  }
  for (Source& source : sources) DeliverRest(source);
}

// False: a signal has come.
bool Pump::WaitForMore(bool readSome) {
  const int input = sources.front().input.DescriptorToWaitFor();
  std::array<pollfd, 2> waiting{{{signals.Descriptor(), POLLIN, 0}, {input, POLLIN, 0}}};
  int milliseconds = 0;
  if (input >= 0) {
    milliseconds = delivery.AllSeen() ? -1 : settleMilliseconds;
  } else if (!readSome) {
    milliseconds = followMilliseconds;
  }
  const int ready = poll(waiting.data(), waiting.size(), milliseconds);
  if (ready == 0 && milliseconds > 0) delivery.Settle();
  inputIsReady = input < 0 || waiting[1].revents != 0;
  return waiting[0].revents == 0;
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
