// A walk over the entries of one directory.
#ifndef ZIN_DIRECTORY_ENTRIES_H
#define ZIN_DIRECTORY_ENTRIES_H

#include <dirent.h>
#include <sys/stat.h>

#include <string_view>

// Closes the directory when it goes. For one thread.
class DirectoryEntries {
 public:
  explicit DirectoryEntries(const char* path) : directory(opendir(path)) {}
  ~DirectoryEntries() {
    if (directory != nullptr) (void)closedir(directory);
  }
  DirectoryEntries(const DirectoryEntries&) = delete;
  DirectoryEntries& operator=(const DirectoryEntries&) = delete;

  bool IsOpen() const { return directory != nullptr; }

  // Name of the next entry other than "." and "..", or null at the end. Valid
  // until the next call.
  const char* Next() {
    while (const dirent* const entry = readdir(directory)) {
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") return entry->d_name;
    }
    return nullptr;
  }

 private:
  DIR* directory;
};

#endif  // ZIN_DIRECTORY_ENTRIES_H
