// Which files a pass over a directory removes, and which the trimming alone.
//
// Input: most files, most MiB, then "pass" or the number of files and of bytes
// that the trimming is told; and one file a line: time, KiB, name.
#include "Retention.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>

#include "Expect.h"
#include "Fields.h"
#include "Folder.h"

namespace {

struct File {
  std::string name;
  std::uint64_t bytes = 0;
};

// By time, since no order is promised for files of one second. Time 0 counts as
// unknown: such a file is never removed.
using Files = std::map<std::int64_t, File>;

std::string TakeWord(std::string& text) {
  const std::size_t end = std::min(text.find(' '), text.size());
  std::string word = text.substr(0, end);
  text.erase(0, end + 1);
  return word;
}

Files MakeFiles(Fields& input, const Folder& folder) {
  constexpr std::size_t most = 30;
  Files files;
  while (!input.AtEnd() && files.size() < most) {
    std::string line = input.Next();
    const std::int64_t time =
        std::clamp(std::strtol(TakeWord(line).c_str(), nullptr, 10), 0L, 9999999999L);
    const std::uint64_t bytes =
        1024 * std::min(std::strtoul(TakeWord(line).c_str(), nullptr, 10), 5000UL);
    const std::string name = line.substr(0, 100) + ".log";
    if (files.contains(time) || !folder.Add(name, Folder::Kind::File, bytes)) continue;
    const timespec times[2] = {{time, 0}, {time, 0}};
    (void)utimensat(AT_FDCWD, (folder / name).c_str(), times, 0);
    files[time] = {name, bytes};
  }
  return files;
}

struct Order {
  std::uint64_t fileCount, maxCount, totalBytes, maxBytes;
};

// How many of the oldest are to go, if there are that many.
std::uint64_t ExcessOf(const Files& files, const Order& order) {
  std::uint64_t excess = 0;
  if (order.totalBytes > order.maxBytes) {
    const std::uint64_t toFree = order.totalBytes - order.maxBytes + bytesPerMiB;
    std::uint64_t freed = 0;
    for (const auto& [time, file] : files) {
      if (time == 0) continue;
      freed += file.bytes;
      ++excess;
      if (freed >= toFree) break;
    }
  }
  if (order.fileCount > order.maxCount) {
    excess = std::max(excess, order.fileCount - order.maxCount + 1);
  }
  return excess;
}

std::vector<std::string> NamesLeft(const Files& files, const Order& order) {
  std::uint64_t excess = ExcessOf(files, order);
  std::vector<std::string> left;
  for (const auto& [time, file] : files) {
    const bool isNewest = time == files.rbegin()->first;
    if (time != 0 && excess > 0 && !isNewest) {
      --excess;
    } else {
      left.push_back(file.name);
    }
  }
  std::sort(left.begin(), left.end());
  return left;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  folder.Clear();
  Fields input(data, size);
  const auto maxCount = static_cast<std::uint32_t>(input.NextNumber(0, UINT32_MAX));
  const auto maxMiB = static_cast<std::uint32_t>(input.NextNumber(0, UINT32_MAX));
  const std::string mode = input.Next();
  Order order{0, maxCount, 0, std::uint64_t{maxMiB} * bytesPerMiB};
  if (mode != "pass") {
    order.fileCount = static_cast<std::uint64_t>(
        std::clamp(std::strtol(mode.c_str(), nullptr, 10), 0L, 1000000L));
    order.totalBytes = static_cast<std::uint64_t>(input.NextNumber(0, INT64_MAX / 2));
  }
  const Files files = MakeFiles(input, folder);
  std::vector<std::string> paths;
  for (const auto& [time, file] : files) paths.insert(paths.begin(), folder / file.name);

  if (mode == "pass") {
    order.fileCount = files.size();
    for (const auto& [time, file] : files) order.totalBytes += file.bytes;
    RunRetentionPass(folder.Path(), RetentionLimits{maxCount, maxMiB});
  } else {
    TrimDirToLimits(paths, order.fileCount, order.maxCount, order.totalBytes, order.maxBytes);
  }
  ExpectEqual("what is left", Joined(NamesLeft(files, order)), Joined(folder.Names()));
  return 0;
}
