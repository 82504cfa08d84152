// peer_<library> <directory> <ledger> <scenario> <amount>: the same faults for
// every library. Slot i of the ledger: records of writer 0 that thread i has
// handed over. Writer 1 logs while something is missing, writer 2 in children.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Ledger.h"
#include "Peer.h"
#include "Records.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned threadCount = 4;
constexpr int notPossibleHere = 75;
constexpr unsigned childsSeconds = 2;  // it logs twenty lines; only a hang is as long

// Used to the very end of the process.
std::string dir;
Ledger* ledger = nullptr;
unsigned amount = 0;

void Log(unsigned writer, unsigned thread) {
  std::atomic<std::uint64_t>& slot = (*ledger)[100 * writer + thread];
  PeerLog(RecordText({writer, thread, slot.load()}));
  ++slot;
}

void LogMany(unsigned writer, unsigned count) {
  for (unsigned i = 0; i < count; ++i) Log(writer, 0);
}

// `isPaced`: some thousand lines a second instead of as many as go.
void StartThreads(bool isPaced = false) {
  for (unsigned thread = 0; thread < threadCount; ++thread) {
    std::thread([thread, isPaced] {
      for (;;) {
        Log(0, thread);
        if (isPaced) std::this_thread::sleep_for(std::chrono::microseconds(100));
      }
    }).detach();
  }
  for (unsigned thread = 0; thread < threadCount; ++thread) {
    while ((*ledger)[thread] < 1000) std::this_thread::yield();
  }
}

void Burst() {
  PeerStart(dir);
  StartThreads();
  for (;;) pause();
}

void ExitQueued() {
  PeerStart(dir);
  LogMany(0, amount);
}

void ExitLogging() {
  PeerStart(dir);
  StartThreads();
}

// An object that is older than the logger and logs when it goes.
struct Late {
  ~Late() {
    if (isWanted) LogMany(0, 10);
  }
  bool isWanted = false;
};
Late late;

void LateDestructor() {
  late.isWanted = true;
  PeerStart(dir);
  LogMany(0, amount);
}

void Restart() {
  for (unsigned i = 0; i < amount; ++i) {
    PeerStart(dir);
    Log(0, 0);
    PeerStop();
  }
}

// Children log, stop and exit. Slot 400: those that hung, 401: those that ended
// badly otherwise.
void Fork() {
  PeerStart(dir);
  StartThreads(true);
  for (unsigned round = 0; round < amount; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(childsSeconds);
      for (std::uint64_t i = 0; i < 20; ++i) PeerLog(RecordText({2, round, i}));
      PeerStop();
      if (round % 2 == 0) std::exit(0);
      _exit(0);
    }
    int status = 0;
    (void)waitpid(child, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)
      ++(*ledger)[400];
    else if (status != 0)
      ++(*ledger)[401];
  }
  _exit(0);
}

void FillUp(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const std::string block(65536, 'f');
  for (std::size_t size = block.size(); size > 0;) {
    if (write(file, block.data(), size) < 0) size /= 2;
  }
  (void)close(file);
}

// Long enough for what is queued to meet the fault: no library tells.
void LetQueueDrain() {
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
}

void DiskFull() {
  const std::string small = dir + "/small";
  fs::create_directories(small);
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", small.c_str(), "tmpfs", 0, "size=16m") != 0) {
    std::exit(notPossibleHere);
  }
  PeerStart(small);
  for (unsigned cycle = 0; cycle < amount; ++cycle) {
    LogMany(0, 500);
    LetQueueDrain();
    FillUp(small + "/filler");
    LogMany(1, 5000);
    LetQueueDrain();
    (void)unlink((small + "/filler").c_str());
  }
  LogMany(0, 500);
  PeerStop();
  fs::create_directories(dir + "/saved");
  for (const auto& entry : fs::directory_iterator(small)) {
    if (entry.is_regular_file() && !entry.is_symlink()) {
      fs::copy_file(entry.path(), dir + "/saved/" + entry.path().filename().string());
    }
  }
}

// The folder is made read-only, so that the file that is open can be written,
// but neither be moved aside nor be joined by another one.
void RenameFails() {
  if (geteuid() == 0) std::exit(notPossibleHere);
  PeerStart(dir);
  LogMany(0, 1000);
  LetQueueDrain();
  (void)chmod(dir.c_str(), 0500);
  LogMany(1, 20000);  // passes the size at which the file is to be rotated
  LetQueueDrain();
  (void)chmod(dir.c_str(), 0700);
  for (unsigned i = 0; i < 1000; ++i) Log(0, 1);
  PeerStop();
}

}  // namespace

int main(int argc, char** argv) {
  static const std::map<std::string, void (*)()> scenarios = {
      {"burst", Burst},         {"exit-queued", ExitQueued},   {"exit-logging", ExitLogging},
      {"late", LateDestructor}, {"restart", Restart},          {"fork", Fork},
      {"disk-full", DiskFull},  {"rename-fails", RenameFails},
  };
  if (argc != 5 || !scenarios.contains(argv[3])) {
    std::fprintf(stderr, "usage: %s <directory> <ledger> <scenario> <amount>\n", argv[0]);
    return 2;
  }
  dir = argv[1];
  ledger = new Ledger(argv[2]);
  amount = static_cast<unsigned>(std::atoi(argv[4]));
  scenarios.at(argv[3])();
  return 0;
}
