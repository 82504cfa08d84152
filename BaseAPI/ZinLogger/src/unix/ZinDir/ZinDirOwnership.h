#ifndef ZIN_DIR_OWNERSHIP_H
#define ZIN_DIR_OWNERSHIP_H

#include <set>
#include <string>

#include "ZinForkMutex.h"

// Hands `dir`, and the files directly in it, to the account `owner`: user and
// group. Symbolic links to files change owner themselves; sub-directories and
// dangling links are left as they are. The first file that cannot be changed
// ends the walk.
//
// Returns 0, or -10000 after any failure. Failures are reported through the
// log at ERROR; an unknown account once per name and process. Given a file, it
// changes the file's owner and then fails because it is no directory. What the
// lookup of an account found serves for a second. Thread-safe.
int ZinChownDirAndFirstDepthFiles(const char* dir, const char* owner);

// Account names whose lookup has failed. Only ever grows. Thread-safe; the
// mutex is a leaf, held for lookup and insertion alone. Never destroyed: the
// worker may need it while the process exits.
class FailedOwnerNames {
 public:
  static FailedOwnerNames& Instance();

  // Adds the name; true when it was not there before.
  bool Insert(const char* owner);

  // Around fork: the child finds the set whole and the mutex free.
  void LockForFork() { mutex.LockForFork(); }
  void UnlockAfterFork() { mutex.UnlockAfterFork(); }

 private:
  ZinForkMutex mutex;
  std::set<std::string> names;  // guarded by mutex
};

#endif  // ZIN_DIR_OWNERSHIP_H
