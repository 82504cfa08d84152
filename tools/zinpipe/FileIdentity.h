// What tells one file from another, whatever their names.
#ifndef ZINPIPE_FILE_IDENTITY_H
#define ZINPIPE_FILE_IDENTITY_H

#include <sys/stat.h>

#include <tuple>

struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;

  FileIdentity() = default;
  explicit FileIdentity(const struct stat& status) : device(status.st_dev), inode(status.st_ino) {}
  bool operator==(const FileIdentity&) const = default;
  bool operator<(const FileIdentity& other) const {
    return std::tie(device, inode) < std::tie(other.device, other.inode);
  }
};

#endif  // ZINPIPE_FILE_IDENTITY_H
