// Which entries of a folder are log files, which are rotated files of a base
// name, in what order, and which of them a keep count removes.
//
// Input: base name, keep count, and entries: d<name> is a folder, l<name> a link
// that points nowhere, f<name> or any other name a file.
#include <algorithm>

#include "Expect.h"
#include "Fields.h"
#include "Folder.h"
#include "LogFileWriter.h"
#include "Retention.h"
#include "ZinDir.h"

namespace {

using Names = std::vector<std::string>;

// The only ".log" of the name is its end.
bool EndsInItsOnlySuffix(const std::string& name) {
  return name.ends_with(".log") &&
         name.substr(0, name.size() - 1).find(".log") == std::string::npos;
}

Names RotatedOf(const std::string& base, const Names& sortedNames) {
  const std::string prefix = base.size() < 4 ? base : base.substr(0, base.size() - 4);
  Names rotated;
  for (const std::string& name : sortedNames) {
    if (name.size() > 4 && name != base && EndsInItsOnlySuffix(name) && name.starts_with(prefix)) {
      rotated.push_back(name);
    }
  }
  return rotated;
}

struct Entries {
  Names all;       // sorted
  Names logFiles;  // sorted, full paths
  std::uint64_t logBytes = 0;
};

Entries MakeEntries(Fields& input, const Folder& folder) {
  constexpr std::size_t most = 40;
  Entries made;
  while (!input.AtEnd() && made.all.size() < most) {
    std::string name = input.NextText().substr(0, 256);
    Folder::Kind kind = Folder::Kind::File;
    if (name.starts_with('d')) kind = Folder::Kind::Directory;
    if (name.starts_with('l')) kind = Folder::Kind::DanglingLink;
    if (!name.empty() && std::string("dlf").find(name.front()) != std::string::npos)
      name.erase(0, 1);
    const std::uint64_t bytes = name.size();
    if (!folder.Add(name, kind, bytes)) continue;
    made.all.push_back(name);
    if (kind == Folder::Kind::File && (name.ends_with(".log") || name.size() == 3)) {
      made.logFiles.push_back(folder / name);
      made.logBytes += bytes;
    }
  }
  std::sort(made.all.begin(), made.all.end());
  std::sort(made.logFiles.begin(), made.logFiles.end());
  return made;
}

// As many as there are more than `keep`, in 32 bits.
std::size_t ExcessOver(std::int64_t keep, std::size_t count) {
  const auto excess = static_cast<std::int32_t>(static_cast<std::int64_t>(count) - keep);
  return excess <= 0 ? 0 : std::min(count, static_cast<std::size_t>(excess));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  folder.Clear();
  Fields input(data, size);
  const std::string base = input.NextText();
  const std::int64_t keep = input.NextNumber(INT32_MIN, INT32_MAX);
  const Entries made = MakeEntries(input, folder);

  std::uint64_t bytes = 0;
  Names logFiles = ZinListLogFiles(folder.Path(), bytes);
  std::sort(logFiles.begin(), logFiles.end());
  ExpectEqual("the log files", Joined(made.logFiles), Joined(logFiles));
  ExpectEqual("their size", made.logBytes, bytes);

  const Names rotated = RotatedOf(base, made.all);
  ExpectEqual("the rotated files", Joined(rotated),
              Joined(ZinListRotatedFiles(base, folder.Path())));

  RemoveExcessRotatedFiles(LogFileWriter(base, folder.Path(), keep, 0), "");
  Names left = made.all;
  const std::size_t removed = ExcessOver(keep, rotated.size());
  for (std::size_t i = 0; i < removed; ++i) std::erase(left, rotated[i]);
  ExpectEqual("what is left", Joined(left), Joined(folder.Names()));
  return 0;
}
