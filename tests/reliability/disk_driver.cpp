// disk_driver <directory> <ledger> <scenario> <cycles>: takes room, rights,
// folders, files or descriptors away from a running channel and gives them back.
//
// Writer 0 logs while all is well: these lines must be on disk. Writer 1 logs
// while something is missing: its lines may be lost. Slots 0 and 1 of the ledger
// count what they have handed over; slot 2 the lines of writer 0 that were not
// found where the scenario itself has to look, slot 3 those of writer 1.
// Writer 2 marks, in a file that is never harmed, how far the worker is.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <vector>

#include "Driver.h"
#include "RecordCheck.h"
#include "RefusedRename.h"

namespace {

namespace fs = std::filesystem;

constexpr int notPossibleHere = 75;
constexpr int rotateEveryLine = 4096;

std::uint64_t SizeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

class Scene {
 public:
  Scene(std::string directory, Ledger& numbers) : dir(std::move(directory)), ledger(numbers) {}

  void LogWell(const std::string& key) { Log(0, key); }
  void LogInNeed(const std::string& key) { Log(1, key); }

  // Returns once the worker has dealt with everything logged so far.
  void LetWorkerCatchUp() {
    const RecordId id{2, 0, marks++};
    Emit(id);
    const std::string text = RecordText(id);
    WaitUntil([&] { return IsInDirectory(text); }, "the worker to catch up");
  }

  // The same while no file can be opened: a file's size can still be asked for.
  void LetWorkerCatchUpWithoutDescriptors() {
    const std::string file = dir + "/app.log";
    const std::uint64_t before = SizeOf(file);
    Emit({2, 0, marks++});
    WaitUntil([&] { return SizeOf(file) > before; }, "the worker to catch up");
  }

  const std::string dir;
  Ledger& ledger;

 private:
  void Log(unsigned writer, const std::string& key) {
    Emit({writer, 0, ledger[writer].load()}, key.c_str());
    ++ledger[writer];
  }
  // A rotated file does not change any more and is read once.
  bool IsInDirectory(const std::string& text) {
    for (const auto& entry : fs::directory_iterator(dir)) {
      const std::string name = entry.path().filename();
      if (!name.ends_with(".log") || rotatedRead.contains(name)) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      const std::string content{std::istreambuf_iterator<char>(in), {}};
      if (content.find(text) != std::string::npos) return true;
      if (name != "app.log" && !content.empty()) rotatedRead.insert(name);
    }
    return false;
  }

  std::uint64_t marks = 0;
  std::set<std::string> rotatedRead;
};

void Start(const Scene& scene, int sizeMiB) {
  LogSettings settings;
  settings.fileSizeMiB = sizeMiB;
  StartLogWith(scene.dir, settings);
}

std::uint64_t CountOf(const std::string& path, unsigned writer) {
  RecordCheck check(LineShapes::WithHeader("disk_driver"));
  check.Add(path);
  const RecordCheck::Stream* const stream = check.Find(writer, 0);
  return stream == nullptr ? 0 : stream->count;
}

// To the last byte. The filler stays open: its space is given back at once.
void FillUp(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  Require(file >= 0, "no filler");
  const std::string block(65536, 'f');
  for (std::size_t size = block.size(); size > 0;) {
    if (write(file, block.data(), size) < 0) size /= 2;
  }
  Require(errno == ENOSPC, "the file system did not fill up");
  (void)close(file);
}

void DiskFull(Scene& scene, unsigned cycles) {
  const std::string small = scene.dir + "/small";
  fs::create_directories(small);
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", small.c_str(), "tmpfs", 0, "size=8m") != 0) {
    std::exit(notPossibleHere);
  }
  Start(scene, 1000);
  for (unsigned cycle = 0; cycle < cycles; ++cycle) {
    for (int i = 0; i < 20; ++i) scene.LogWell("small");
    scene.LetWorkerCatchUp();
    FillUp(small + "/filler");
    for (int i = 0; i < 100; ++i) scene.LogInNeed("small");
    scene.LetWorkerCatchUp();
    Require(unlink((small + "/filler").c_str()) == 0, "no room again");
  }
  for (int i = 0; i < 20; ++i) scene.LogWell("small");
  scene.LetWorkerCatchUp();
  // The file system goes with this process.
  fs::create_directories(scene.dir + "/saved");
  for (const auto& entry : fs::directory_iterator(small)) {
    fs::copy_file(entry.path(), scene.dir + "/saved/" + entry.path().filename().string());
  }
}

void ReadOnly(Scene& scene, unsigned cycles) {
  Start(scene, 1000);
  scene.LetWorkerCatchUp();
  if (geteuid() == 0) std::exit(notPossibleHere);  // rights do not bind root
  for (unsigned cycle = 0; cycle < cycles; ++cycle) {
    const std::string key = "key-" + std::to_string(cycle);
    Require(chmod(scene.dir.c_str(), 0500) == 0, "chmod");
    scene.LogInNeed(key);
    scene.LetWorkerCatchUp();
    Require(chmod(scene.dir.c_str(), 0700) == 0, "chmod back");
    for (int i = 0; i < 5; ++i) scene.LogWell(key);
    scene.LetWorkerCatchUp();
  }
}

void Descriptors(Scene& scene, unsigned cycles) {
  const rlimit few{64, 64};
  Require(setrlimit(RLIMIT_NOFILE, &few) == 0, "setrlimit");
  Start(scene, 1000);
  scene.LetWorkerCatchUp();
  // Each cycle opens one more file for good, so sessions of 20 are begun anew.
  for (unsigned cycle = 0; cycle < cycles; ++cycle) {
    if (cycle % 20 == 19) {
      Logger().StopSystem();
      WaitUntil([] { return CountThreads("zin-log-worker") == 0; }, "the worker to end");
      Start(scene, 1000);
      scene.LetWorkerCatchUp();
    }
    const std::string key = "key-" + std::to_string(cycle);
    std::vector<int> taken;
    for (int file = 0; (file = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
      taken.push_back(file);
    Require(errno == EMFILE, "the limit was not reached");
    scene.LogInNeed(key);
    scene.LetWorkerCatchUpWithoutDescriptors();
    for (const int file : taken) (void)close(file);
    scene.LetWorkerCatchUp();
    for (int i = 0; i < 5; ++i) scene.LogWell(key);
    scene.LetWorkerCatchUp();
  }
}

// One line goes to the file that nobody can find any more; the rotation after it
// begins anew in a new folder.
void FolderRemoved(Scene& scene, unsigned cycles) {
  const std::string sub = scene.dir + "/sub";
  Start(scene, rotateEveryLine);
  scene.LogWell("sub");
  scene.LetWorkerCatchUp();
  std::uint64_t wellSeen = 0;
  std::uint64_t inNeedSeen = 0;
  for (unsigned cycle = 0; cycle < cycles; ++cycle) {
    wellSeen += CountOf(sub, 0);
    inNeedSeen += CountOf(sub, 1);
    fs::remove_all(sub);
    if (cycle % 2 == 1) fs::create_directories(sub);
    scene.LogInNeed("sub");
    for (int i = 0; i < 5; ++i) scene.LogWell("sub");
    scene.LetWorkerCatchUp();
  }
  scene.ledger[2] = scene.ledger[0] - wellSeen - CountOf(sub, 0);
  scene.ledger[3] = scene.ledger[1] - inNeedSeen - CountOf(sub, 1);
  fs::remove_all(sub);
}

// The line goes along with the folder; nothing is lost.
void FolderMoved(Scene& scene, unsigned cycles) {
  const std::string sub = scene.dir + "/sub";
  Start(scene, rotateEveryLine);
  scene.LogWell("sub");
  for (unsigned cycle = 0; cycle < cycles; ++cycle) {
    scene.LetWorkerCatchUp();
    fs::rename(sub, scene.dir + "/moved-" + std::to_string(cycle));
    for (int i = 0; i < 5; ++i) scene.LogWell("sub");
  }
  scene.LetWorkerCatchUp();
}

// Lines go to the deleted file until it has its size.
void FileDeleted(Scene& scene, unsigned cycles) {
  const std::string file = scene.dir + "/sub/app.log";
  Start(scene, 1);
  for (unsigned cycle = 0; cycle < cycles; ++cycle) {
    for (int i = 0; i < 5; ++i) scene.LogWell("sub");
    scene.LetWorkerCatchUp();
    scene.ledger[2] += 5 - CountOf(file, 0);
    Require(unlink(file.c_str()) == 0, "no file to delete");
    const std::uint64_t before = scene.ledger[1];
    while (!fs::exists(file)) {
      for (int i = 0; i < 200; ++i) scene.LogInNeed("sub");
      scene.LetWorkerCatchUp();
    }
    scene.ledger[3] += scene.ledger[1] - before - CountOf(file, 1);
  }
}

// Filters of containers answer EPERM where a call is not on their list.
void RenameRefused(Scene& scene, unsigned cycles) {
  if (!RefuseToRenameWithoutReplacing()) std::exit(notPossibleHere);
  fs::create_directories(scene.dir + "/sub");
  std::ofstream(scene.dir + "/sub/app.log");  // of an earlier run
  Start(scene, rotateEveryLine);
  for (unsigned cycle = 0; cycle < cycles; ++cycle) {
    for (int i = 0; i < 5; ++i) scene.LogWell("sub");
    scene.LetWorkerCatchUp();
  }
}

// By a program that takes them all for its own, as closefrom(3) does; in half of
// the cycles it then opens files that get the same numbers.
void DescriptorsClosed(Scene& scene, unsigned cycles) {
  constexpr int past = 64;
  Start(scene, 1000);
  for (unsigned cycle = 0; cycle < cycles; ++cycle) {
    for (int i = 0; i < 5; ++i) scene.LogWell("sub");
    scene.LetWorkerCatchUp();
    for (int number = STDERR_FILENO + 1; number < past; ++number) (void)close(number);
    std::vector<int> taken;
    while (cycle % 2 == 1 && taken.size() < 5) {
      taken.push_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    for (int i = 0; i < 5; ++i) scene.LogWell("sub");
    scene.LetWorkerCatchUp();
    for (const int number : taken) {
      Require(close(number) == 0, "a descriptor of the program was closed");
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 5, "usage: disk_driver <directory> <ledger> <scenario> <cycles>");
  static const std::map<std::string, void (*)(Scene&, unsigned)> scenarios = {
      {"full", DiskFull},
      {"read-only", ReadOnly},
      {"descriptors", Descriptors},
      {"folder-removed", FolderRemoved},
      {"folder-moved", FolderMoved},
      {"file-deleted", FileDeleted},
      {"rename-refused", RenameRefused},
      {"descriptors-closed", DescriptorsClosed},
  };
  Ledger ledger(argv[2]);
  Scene scene(argv[1], ledger);
  const auto found = scenarios.find(argv[3]);
  Require(found != scenarios.end(), "no such scenario");
  found->second(scene, static_cast<unsigned>(std::atoi(argv[4])));
  Logger().StopSystem();
  return 0;
}
