// The folder whose files are served, and nothing outside of it.
#ifndef SERVICE_SERVED_FOLDER_H
#define SERVICE_SERVED_FOLDER_H

#include <cstdint>
#include <string>
#include <string_view>

#include "FileDescriptor.h"

// Safe to use from any thread: it never changes.
class ServedFolder {
 public:
  // Throws std::runtime_error when `folder` is no directory that can be read.
  explicit ServedFolder(const std::string& folder);

  struct OpenFile {
    int status;               // 200, 403, 404 or 500
    FileDescriptor contents;  // open when the status is 200
    std::uint64_t size = 0;   // bytes
  };

  // Opens the file that `path` names below the folder. A path that leaves the
  // folder, by "..", or by a symbolic link, is forbidden; so is a directory.
  OpenFile Open(const std::string& path) const;

  const std::string& Root() const { return root; }

 private:
  bool Holds(std::string_view resolvedPath) const;

  std::string root;  // absolute, without symbolic links
};

// The media type of a file, by its name.
std::string_view ContentTypeOf(std::string_view path);

#endif  // SERVICE_SERVED_FOLDER_H
