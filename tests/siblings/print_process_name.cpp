// Prints the name of its process, after its executable has been taken away:
//
//   print_process_name kept|deleted|replaced|hidden|no-proc
//
// hidden: the link to the executable cannot be read. no-proc: neither that nor
// anything else below /proc, for the process has moved into a root without one.
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "ZinSysInfo.h"

namespace {
bool isHidden = false;
}

// The linker puts it in the place of the call that reads the link.
extern "C" ssize_t __real_readlink(const char* path, char* target, size_t size);
extern "C" ssize_t __wrap_readlink(const char* path, char* target, size_t size) {
  if (!isHidden) return __real_readlink(path, target, size);
  errno = ENOENT;
  return -1;
}

// The leak checker asks this when the process ends; it cannot work without /proc.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
  return 1;
}

int main(int argc, char** argv) {
  const std::string_view fate = argc == 2 ? argv[1] : "";
  const std::string executable = argv[0];
  if (fate == "deleted") {
    if (unlink(executable.c_str()) != 0) return 2;
  } else if (fate == "replaced") {
    const std::string upgrade = executable + ".new";
    std::ofstream(upgrade) << "the next version";
    if (std::rename(upgrade.c_str(), executable.c_str()) != 0) return 2;
  } else if (fate == "hidden") {
    isHidden = true;
  } else if (fate == "no-proc") {
    const std::string root = executable.substr(0, executable.rfind('/'));
    if (chroot(root.c_str()) != 0 || chdir("/") != 0) return 77;
  } else if (fate != "kept") {
    return 1;
  }
  // The kernel's short name is the thread's to change; it must not count, unless
  // there is no other.
  (void)prctl(PR_SET_NAME, "short-name");
  std::puts(ZinSysInfo::GetCurrentProcessName().c_str());
  return 0;
}
