// kill_driver <directory> <ledger> paced|free: four threads log until somebody
// kills the process. Slots 0 to 3 of the ledger: records that the log call has
// taken, per thread, counted after it returned.
//
// paced: no more than mostOutstanding records are on their way at once, which
// bounds the loss of a kill. The queue has room for twice as many (and the library's
// own line): lines that are seen in the file may count as waiting until the worker
// has come back from the kernel. free: as fast as it goes, with a
// rotation every few thousand lines.
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <thread>
#include <vector>

#include "Driver.h"

namespace {

constexpr unsigned threadCount = 4;
constexpr std::uint64_t mostOutstandingPerThread = 100;

// Bytes in the live file; what a thread's lines add to it is known, so the size
// tells when they are written.
std::uint64_t SizeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::atomic<std::uint64_t> bytesHandedOver{0};

std::uint64_t LineLength(const RecordId& id) {
  const std::string header = "[kill_driver] [2026-01-05 09:03:07.042] [" +
                             std::to_string(gettid()) + "] [INFO] [Driver.cpp:1] [Emit]: ";
  return header.size() + RecordText(id).size() + 1;
}

void WaitUntilWritten(const std::string& path, std::uint64_t bytes) {
  while (SizeOf(path) < bytes) {
    const timespec pause{0, 50000};
    (void)nanosleep(&pause, nullptr);
  }
}

[[noreturn]] void LogForEver(unsigned thread, Ledger& ledger, const std::string& pacedBy) {
  for (std::uint64_t sequence = 0;; ++sequence) {
    const RecordId id{0, thread, sequence};
    if (!pacedBy.empty()) bytesHandedOver += LineLength(id);
    Emit(id);
    ledger[thread].store(sequence + 1);
    if (!pacedBy.empty() && (sequence + 1) % mostOutstandingPerThread == 0) {
      WaitUntilWritten(pacedBy, bytesHandedOver.load());
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 4, "usage: kill_driver <directory> <ledger> paced|free");
  const std::string dir = argv[1];
  const bool isPaced = std::string(argv[3]) == "paced";
  static Ledger ledger(argv[2]);
  LogSettings settings;
  // Some more for the line that the library writes about a missing account: it
  // makes the file longer than the records, so pacing errs by its length.
  if (isPaced) settings.queueCapacity = 2 * threadCount * mostOutstandingPerThread + 8;
  if (!isPaced) settings.fileSizeMiB = 1;
  StartLogWith(dir, settings);
  const std::string pacedBy = isPaced ? dir + "/app.log" : std::string();
  std::vector<std::thread> threads;
  for (unsigned thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([=] { LogForEver(thread, ledger, pacedBy); });
  }
  for (std::thread& thread : threads) thread.join();
  return 0;
}
