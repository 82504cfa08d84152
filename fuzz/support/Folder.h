// A folder for the files of one run after the other.
#ifndef ZIN_FUZZ_FOLDER_H
#define ZIN_FUZZ_FOLDER_H

#include <cstdint>
#include <string>
#include <vector>

// Empty at the beginning and removed at the end; below TMPDIR. Its path holds
// neither "log" nor "metrics".
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& Path() const { return path; }
  std::string operator/(const std::string& name) const { return path + "/" + name; }

  enum class Kind { File, Directory, DanglingLink };
  // False when there is such an entry already, or there cannot be one.
  bool Add(const std::string& name, Kind kind, std::uint64_t size = 0) const;

  void Clear() const;

  // Names directly in the folder, sorted.
  std::vector<std::string> Names() const;

 private:
  std::string path;
};

// A list as one text, for comparisons that show both.
std::string Joined(const std::vector<std::string>& texts);

#endif  // ZIN_FUZZ_FOLDER_H
