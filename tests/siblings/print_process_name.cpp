// Prints the name of its process, after its executable has been taken away:
//
//   print_process_name kept|deleted|replaced
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "ZinSysInfo.h"

int main(int argc, char** argv) {
  const std::string_view fate = argc == 2 ? argv[1] : "";
  const std::string executable = argv[0];
  if (fate == "deleted") {
    if (unlink(executable.c_str()) != 0) return 2;
  } else if (fate == "replaced") {
    const std::string upgrade = executable + ".new";
    std::ofstream(upgrade) << "the next version";
    if (std::rename(upgrade.c_str(), executable.c_str()) != 0) return 2;
  } else if (fate != "kept") {
    return 1;
  }
  // The kernel's short name is the thread's to change; it must not count.
  (void)prctl(PR_SET_NAME, "short-name");
  std::puts(ZinSysInfo::GetCurrentProcessName().c_str());
  return 0;
}
