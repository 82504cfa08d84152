// Keeps a second zinpipe from writing the same files.
#ifndef ZINPIPE_NAME_LOCK_H
#define ZINPIPE_NAME_LOCK_H

#include <string>

#include "Descriptor.h"

// Locks one name in a directory, whether or not there is a file of that name
// yet, and leaves nothing behind: each name stands for one byte of the
// directory, and that byte is locked as long as this lives.
class NameLock {
 public:
  // Throws std::runtime_error when another run holds the name. A file system
  // that locks no directories is not asked any further.
  NameLock(const std::string& directory, const std::string& fileName);

 private:
  Descriptor locked;
};

#endif  // ZINPIPE_NAME_LOCK_H
