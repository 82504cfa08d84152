#ifndef ZIN_TEST_OPEN_DESCRIPTORS_H
#define ZIN_TEST_OPEN_DESCRIPTORS_H

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

// The descriptors through which this process holds `path` open.
inline std::vector<int> DescriptorsOf(const std::string& path) {
  std::vector<int> descriptors;
  struct stat wanted {};
  if (stat(path.c_str(), &wanted) != 0) return descriptors;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename());
    struct stat held {};
    if (fstat(descriptor, &held) != 0) continue;
    if (held.st_dev == wanted.st_dev && held.st_ino == wanted.st_ino) {
      descriptors.push_back(descriptor);
    }
  }
  return descriptors;
}

// How many descriptors this process has open.
inline long OpenDescriptorCount() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all)) - 1;  // less the one of the count itself
}

#endif  // ZIN_TEST_OPEN_DESCRIPTORS_H
