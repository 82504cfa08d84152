#include "Surroundings.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "RunProgram.h"
#include "ScratchDir.h"

std::string WhyNoProc() {
  return access("/proc/self/fd", F_OK) == 0 ? "" : "no /proc is mounted here";
}

std::string WhyNoSmallFileSystem() {
  const ScratchDir dir;
  const ProgramResult result =
      RunProgram({"unshare", "--mount", "mount", "-t", "tmpfs", "none", dir.Path()});
  if (result.exitCode == 0) return {};
  return "no right to mount a small file system: " + result.standardError;
}

std::string WhyNoFilesOf(uid_t user, gid_t group) {
  const ScratchDir dir;
  if (lchown(dir.Path().c_str(), user, group) == 0) return {};
  return std::string("no right to hand a file to another user: ") + std::strerror(errno);
}

std::string WhyNoUnprivilegedProgram() {
  if (geteuid() != 0) return {};
  const ProgramResult result = RunProgram(Unprivileged({"true"}));
  if (result.exitCode != 0) return "no right to become another user: " + result.standardError;
  return WhyNoFilesOf(userWithoutRights, userWithoutRights);
}
