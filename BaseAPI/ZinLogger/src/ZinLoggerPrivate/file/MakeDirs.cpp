#include "MakeDirs.h"

#include <sys/stat.h>

#include "FileModes.h"
#include "ZinDirOwnership.h"

bool ZinMakeDirs(const std::string& path) {
  for (std::size_t i = 1; i < path.size(); ++i) {
    if (path[i] == '/') (void)mkdir(path.substr(0, i).c_str(), logDirectoryMode);
  }
  // Deliberate: all results are ignored; a component that exists is the normal
  // case. Only the last one changes owner.
  (void)mkdir(path.c_str(), logDirectoryMode);
  (void)ZinChownDirAndFirstDepthFiles(path.c_str(), serviceAccount);
  return true;
}
