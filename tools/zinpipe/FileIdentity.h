// What tells one file from another, whatever their names.
#ifndef ZINPIPE_FILE_IDENTITY_H
#define ZINPIPE_FILE_IDENTITY_H

#include <sys/stat.h>

#include <compare>

struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;

  FileIdentity() = default;
  explicit FileIdentity(const struct stat& status) : device(status.st_dev), inode(status.st_ino) {}
  auto operator<=>(const FileIdentity&) const = default;
};

#endif  // ZINPIPE_FILE_IDENTITY_H
