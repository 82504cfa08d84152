#include "Folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "Expect.h"

namespace fs = std::filesystem;

Folder::Folder() {
  const char* const base = std::getenv("TMPDIR");
  path = std::string(base == nullptr ? "/tmp" : base) + "/zin-fuzz-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) FailExpectation("a folder like", path, "none");
}

Folder::~Folder() {
  std::error_code ignored;  // a folder left behind harms nobody
  fs::remove_all(path, ignored);
}

bool Folder::Add(const std::string& name, Kind kind, std::uint64_t size) const {
  const std::string full = *this / name;
  if (name.empty() || name.find('/') != std::string::npos) return false;
  if (kind == Kind::Directory) return mkdir(full.c_str(), 0755) == 0;
  if (kind == Kind::DanglingLink) return symlink("nowhere", full.c_str()) == 0;
  const int file = open(full.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (file < 0) return false;
  const bool sized = ftruncate(file, static_cast<off_t>(size)) == 0;
  (void)close(file);
  return sized;
}

void Folder::Clear() const {
  for (const auto& entry : fs::directory_iterator(path)) fs::remove_all(entry.path());
}

std::vector<std::string> Folder::Names() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += text + "\n";
  return all;
}
