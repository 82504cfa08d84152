#include "Delivery.h"

#include <ZinLogger.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>  // program_invocation_short_name
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "LiveFile.h"
#include "Newlines.h"
#include "OutputDirectory.h"
#include "StandardError.h"

namespace {

constexpr std::size_t longestMetricsRecord = 8190;
constexpr std::size_t longestLogLine = 2046;
constexpr const char* functionName = "zinpipe";
constexpr LogLevel everyLevel = DEBUG;
constexpr auto noLevel = static_cast<LogLevel>(-1);

constexpr std::size_t bytesPerMiB = 1048576;
// More does not make it faster.
constexpr std::size_t mostBytesInFlight = 4 * bytesPerMiB;
// The file, its successor and the one being looked at; directories, accounts,
// what the worker is doing.
constexpr std::size_t neededDescriptors = 10;
// For lines of the logger itself, which go the same road: a few for each file.
constexpr std::size_t bytesOfTheLogger = std::size_t{64} << 10;
constexpr unsigned long recordsOfTheLogger = 64;

constexpr std::chrono::microseconds shortestNap{250};
constexpr std::chrono::microseconds longestNap{1000};
constexpr std::chrono::seconds longestWaitForIdleness{10};
// When the file being written cannot be replaced, it is tried again so often.
constexpr std::chrono::seconds betweenReplacements{1};
// The worker's state is asked for after so much silence, and must be the same
// so many times in a row.
constexpr int silenceInMilliseconds = 10;
constexpr int timesToFindItWaiting = 20;
// Where the system does not tell the worker's state.
constexpr int longSilenceInMilliseconds = 30000;

// The logger prints the base name of the executable, or without a /proc the name
// that the tool was started by.
std::string ProcessName() {
  std::array<char, 4096> target{};
  const ssize_t length = readlink("/proc/self/exe", target.data(), target.size() - 1);
  if (length < 0) return program_invocation_short_name;
  const std::string path(target.data(), static_cast<std::size_t>(length));
  const std::string name = path.substr(path.rfind('/') + 1);
  const std::string_view deleted = " (deleted)";
  return name.ends_with(deleted) ? name.substr(0, name.size() - deleted.size()) : name;
}

// "[name] [2026-01-05 09:03:07.042] ": what precedes the thread in a header.
std::size_t ThreadOffset() {
  return ProcessName().size() + std::string_view("[] [2026-01-05 09:03:07.042] ").size();
}

std::string ThreadBracket() {
  const std::string thread = std::to_string(syscall(SYS_gettid));
  return "[" + thread + "] ";
}

// The logger's own lines come from its worker, ours from this thread.
LineMark MarkOfOurLines(const Options& options) {
  if (!options.stamp) return {};
  return {ThreadOffset(), ThreadBracket()};
}

bool StartChannel(const Options& options) {
  ZinLogger* const logger = ZinLogger::GetInstance();
  const char* const name = options.fileName.c_str();
  const char* const directory = options.directory.c_str();
  const unsigned long capacity = options.queueCapacity + recordsOfTheLogger;
  if (options.stamp) {
    logger->LimitLogPathSize(options.maxFiles, options.maxMiB);
    return logger->StartSystem(name, directory, options.keepFiles, options.fileSizeMiB, everyLevel,
                               capacity, true);
  }
  // What the logger says itself would go to standard error.
  logger->SetLogLevel(noLevel);
  logger->LimitMetricsPathSize(options.maxFiles, options.maxMiB);
  return logger->StartSystemForMetrics(name, directory, options.keepFiles, options.fileSizeMiB,
                                       capacity, false);
}

void StopChannel(const Options& options) {
  ZinLogger* const logger = ZinLogger::GetInstance();
  if (options.stamp) {
    // Its line of farewell is none of the input's.
    logger->SetLogLevel(noLevel);
    logger->StopSystem();
  } else {
    logger->StopMetricSystem();
  }
}

// Without them, the logger could not open its file, and would not say so.
void NeedDescriptors() {
  std::vector<Descriptor> trials;
  while (trials.size() < neededDescriptors) {
    trials.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (trials.back().IsOpen()) continue;
    throw std::runtime_error("needs " + std::to_string(neededDescriptors) +
                             " more file descriptors than this process may open: " +
                             std::strerror(errno) + " (ulimit -n)");
  }
}

const std::string& Prepared(const Options& options) {
  PrepareOutputDirectory(options.directory, options.fileName);
  return options.directory;
}

}  // namespace

Delivery::Delivery(const Options& given, Signals& stopSignals)
    : options(given),
      signals(stopSignals),
      filePath(options.directory + "/" + options.fileName),
      lock(Prepared(options), options.fileName),
      files(options.directory, options.fileName, options.keepFiles, MarkOfOurLines(options)),
      worker(options.stamp ? "zin-log-worker" : "zin-met-worker"),
      // Less than a file holds, so that no file comes and goes between two looks.
      mostBytes(
          std::min(mostBytesInFlight, static_cast<std::size_t>(options.fileSizeMiB) * bytesPerMiB) -
          bytesOfTheLogger) {
  NeedDescriptors();
  try {
    if (!StartChannel(options)) throw std::runtime_error("the logger refuses '" + filePath + "'");
  } catch (const std::system_error& error) {
    throw std::runtime_error(std::string("cannot start the logger: ") + error.what());
  }
}

std::size_t Delivery::LongestRecord(const std::string& source) const {
  if (!options.stamp) return longestMetricsRecord;
  const std::size_t header = ThreadOffset() + ThreadBracket().size() +
                             std::string_view("[FATAL]").size() + options.tag.size() +
                             source.size() + std::string_view("[:2147483647] [zinpipe]: ").size();
  return longestLogLine - header;
}

void Delivery::HandOver(std::string_view record, const std::string& source, int line) {
  const std::uint64_t lines = CountNewlines(record);
  const std::size_t bytes = options.stamp ? longestLogLine : record.size();
  LookAfterFiles();
  WaitForRoom(bytes);
  ZinLogger* const logger = ZinLogger::GetInstance();
  const int size = static_cast<int>(record.size());
  if (options.stamp) {
    logger->Log(source.c_str(), line, functionName, options.tag.c_str(), "", options.level, "%.*s",
                size, record.data());
  } else {
    logger->Metrics("%.*s", size, record.data());
  }
  handedOver += lines;
  inFlight.Add(lines, bytes);
}

bool Delivery::HasRoomFor(std::size_t bytes) const {
  return inFlight.Records() < options.queueCapacity && inFlight.Bytes() + bytes <= mostBytes;
}

void Delivery::Look() {
  files.Look();
  SayLosses();
  const std::uint64_t found = files.LinesFound();
  if (found == lastFound) return;
  inFlight.Seen(found - lastFound);
  lastFound = found;
  if (failing) SayThatItGoesOn();
}

void Delivery::SayLosses() {
  for (const Loss& loss : files.TakeLosses()) {
    const std::string lines = Counted(loss.lines, "line");
    if (loss.kind == Loss::Kind::Removed) {
      Say("'" + loss.path + "' was removed, and not by a limit of this run: " + lines + " lost");
      continue;
    }
    // The logger empties a file that it cannot rename.
    const std::string reason = WhyNoNewFile(options.directory);
    Say("'" + loss.path + "' was emptied: " + lines + " lost" +
        (reason.empty() ? "" : " (finished files cannot be renamed: " + reason + ")"));
  }
}

void Delivery::SayThatItGoesOn() {
  failing = false;
  const auto time = std::chrono::steady_clock::now() - failingSince;
  const auto tenths = std::chrono::duration_cast<std::chrono::milliseconds>(time).count() / 100;
  Say("lines are written to '" + filePath + "' again, after " +
      Counted(NeverArrived() - std::min(NeverArrived(), neverArrivedBefore), "line") + " lost in " +
      std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s");
}

void Delivery::WaitForRoom(std::size_t bytes) {
  if (HasRoomFor(bytes)) return;
  WaitUntilAtMost(options.queueCapacity / 2, mostBytes / 2);
}

// Waits until no more than that is in flight. What will never turn up does not
// keep it waiting.
void Delivery::WaitUntilAtMost(std::size_t records, std::size_t bytes) {
  using Clock = std::chrono::steady_clock;
  auto silentSince = Clock::now();
  std::chrono::microseconds nap = shortestNap;
  timesFoundWaiting = 0;
  for (;;) {
    const std::uint64_t before = lastFound;
    Look();
    if (inFlight.Records() <= records && inFlight.Bytes() <= bytes) return;
    const auto now = Clock::now();
    if (lastFound != before) {
      silentSince = now;
      nap = shortestNap;
      timesFoundWaiting = 0;
    }
    const auto silence = std::chrono::duration_cast<std::chrono::milliseconds>(now - silentSince);
    if (NothingComesAnyMore(static_cast<int>(silence.count()))) {
      WriteOff();
      return;
    }
    signals.Take();
    if (signals.MustStopAtOnce()) return;
    std::this_thread::sleep_for(nap);
    nap = std::min(nap * 2, longestNap);
  }
}

bool Delivery::NothingComesAnyMore(int silentMilliseconds) {
  if (silentMilliseconds < silenceInMilliseconds) return false;
  switch (worker.Now()) {
    case WorkerThread::State::Waits:
      return ++timesFoundWaiting > timesToFindItWaiting;
    case WorkerThread::State::Works:
      timesFoundWaiting = 0;
      return false;
    case WorkerThread::State::Unknown:
      break;
  }
  return silentMilliseconds > longSilenceInMilliseconds;
}

void Delivery::WriteOff() {
  Look();  // something may have come in the meantime
  const std::uint64_t before = NeverArrived();
  if (inFlight.WriteOff() == 0 || failing) return;
  failing = true;
  neverArrivedBefore = before;
  failingSince = std::chrono::steady_clock::now();
  Say("cannot write to '" + filePath +
      "': " + WhyNothingIsWritten(options.directory, options.fileName) + "; lines get lost");
}

void Delivery::Settle() {
  WaitUntilAtMost(0, 0);
}

void Delivery::LookAfterFiles() {
  // Under load, the waits for room look often enough.
  if (AllSeen()) Look();
  if (files.LiveIsAstray()) {
    const auto now = std::chrono::steady_clock::now();
    if (cannotReplace && now - lastReplacement < betweenReplacements) return;
    lastReplacement = now;
    ReplaceLiveFile();
  } else if (files.TakeLiveWasCut()) {
    Settle();
    if (WaitUntilIdle()) GoOnAtTheEnd(files.Live()->Identity());
  }
}

void Delivery::BeginNewFile() {
  Settle();
  const CountedFile* const live = files.Live();
  if (live != nullptr && live->Size() > 0) ReplaceLiveFile();
}

// Whether the logger's worker has nothing to do, and so leaves its file alone:
// it may still be about to begin a new one when its last line has been seen.
bool Delivery::WaitUntilIdle() {
  const auto end = std::chrono::steady_clock::now() + longestWaitForIdleness;
  int times = 0;
  while (times < timesToFindItWaiting && std::chrono::steady_clock::now() < end) {
    times = worker.Now() == WorkerThread::State::Works ? 0 : times + 1;
    std::this_thread::sleep_for(shortestNap);
  }
  return times == timesToFindItWaiting;
}

void Delivery::ReplaceLiveFile() {
  Settle();
  if (signals.MustStopAtOnce() || !WaitUntilIdle()) return;
  Look();
  try {
    ::BeginNewFile(options.directory, options.fileName, files.Live()->Identity());
    RemoveExcessFiles(options.directory, options.fileName, options.keepFiles);
    cannotReplace = false;
  } catch (const std::runtime_error& error) {
    if (!cannotReplace) Say(std::string("no new file is begun: ") + error.what());
    cannotReplace = true;
  }
  Look();
}

// Lines that were written off, less those that came after all.
std::uint64_t Delivery::NeverArrived() const {
  const std::uint64_t accounted = files.LinesFound() + inFlight.Lines();
  return handedOver > accounted ? handedOver - accounted : 0;
}

DeliveryTotals Delivery::Totals() const {
  // Lines that somebody else wrote there are none of ours.
  const std::uint64_t seen = std::min(files.LinesFound(), handedOver - inFlight.Lines());
  return {handedOver, seen - std::min(seen, files.LinesLost()), files.LinesRemoved(),
          inFlight.Lines()};
}

DeliveryTotals Delivery::Finish() {
  Settle();
  if (AllSeen()) {
    StopChannel(options);
    files.LookAtAll();
  } else {
    Say("stopped by a second signal: " + Counted(inFlight.Lines(), "line") +
        " still waiting for the disk");
  }
  Look();
  (void)inFlight.WriteOff();
  return Totals();
}
