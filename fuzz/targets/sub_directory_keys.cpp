// Lines for any sub-directory keys: which files are there in the end, with what
// contents and modes, after rotations by size, keep counts, and keys that lead to
// the same directory by different roads.
//
// Input: keep count, size limit, then one line each: <key>|<text>.
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <memory>
#include <set>

#include "CapturedErrorStream.h"
#include "Expect.h"
#include "FakeIds.h"
#include "Fields.h"
#include "Folder.h"
#include "Line.h"
#include "LogFileWriter.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* fileName = "app.log";

// Keeps the keys inside the folder, away from the files, and short enough for
// any rotated name: what follows from their breach is the caller's.
std::string Tamed(const std::string& key) {
  constexpr std::size_t longest = 1000;
  std::string tamed;
  int depth = 0;
  for (std::size_t begin = 0; begin <= key.size() && tamed.size() < longest;) {
    const std::size_t end = std::min(key.find('/', begin), key.size());
    std::string part = key.substr(begin, end - begin).substr(0, longest);
    if (part.find(".log") != std::string::npos) part = "no file";
    if (part == ".." && depth == 0) part = "no way up";
    if (part == "..") {
      --depth;
    } else if (!part.empty() && part != ".") {
      ++depth;
    }
    tamed += (begin == 0 ? "" : "/") + part;
    begin = end + 1;
  }
  return tamed;
}

// The directory that a key leads to, or null when a part is too long to exist.
std::unique_ptr<std::string> Destination(const std::string& key) {
  constexpr std::size_t longestName = 255;
  std::size_t partLength = 0;
  for (const char c : key) {
    partLength = c == '/' ? 0 : partLength + 1;
    if (partLength > longestName) return nullptr;
  }
  std::string plain = fs::path("/" + key).lexically_normal().string();
  while (plain.ends_with('/')) plain.pop_back();
  return std::make_unique<std::string>(plain);
}

struct ModelFile {
  std::string text;
  std::uint64_t bytes = 0;  // since it was opened
  mode_t mode = 0;
};
using FilePointer = std::shared_ptr<ModelFile>;

class Model {
 public:
  Model(std::int64_t keepCount, std::uint64_t sizeLimit) : keep(keepCount), limit(sizeLimit) {}

  void WriteLine(const std::string& key, const std::string& line) {
    const auto place = Destination(key);
    if (place == nullptr) return;
    if (!byKey.contains(key)) Open(key, *place);
    ModelFile& file = *byKey[key];
    file.text += line;
    file.bytes += line.size();
    if (file.bytes <= limit) return;
    Open(key, *place);
    RemoveExcess(rotated[*place]);
  }

  // Path below the folder, mode and contents of each file that is there.
  std::map<std::string, std::string> Files() const {
    std::map<std::string, std::string> files;
    for (const auto& [place, file] : live) files[place + "/" + fileName] = Shown(*file);
    for (const auto& [place, aside] : rotated) {
      for (const auto& [name, file] : aside) files[place + "/" + name] = Shown(*file);
    }
    return files;
  }

  static std::string Shown(const ModelFile& file) {
    return std::to_string(file.mode) + " " + file.text;
  }

 private:
  void Open(const std::string& key, const std::string& place) {
    if (live.contains(place)) {
      std::string sequence = std::to_string(rotations++);
      sequence.insert(0, 3 - sequence.size(), '0');
      rotated[place]["app_20260105090307042-" + sequence + "-4711.log"] = live[place];
    }
    const bool ofMetrics = key.find("metrics") != std::string::npos;
    live[place] = byKey[key] = std::make_shared<ModelFile>();
    live[place]->mode = ofMetrics ? 0660 : 0640;
  }

  void RemoveExcess(std::map<std::string, FilePointer>& aside) const {
    const std::int64_t most = std::max<std::int64_t>(keep, 0);
    while (static_cast<std::int64_t>(aside.size()) > most) aside.erase(aside.begin());
  }

  const std::int64_t keep;
  const std::uint64_t limit;
  int rotations = 0;
  std::map<std::string, FilePointer> live;  // by directory
  std::map<std::string, FilePointer> byKey;
  std::map<std::string, std::map<std::string, FilePointer>> rotated;  // by directory and name
};

std::string ContentsOf(const std::string& path) {
  std::string text;
  char buffer[4096];
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return "unreadable";
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, file)) {
    text.append(buffer, count);
  }
  (void)std::fclose(file);
  return text;
}

std::map<std::string, std::string> FilesBelow(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_directory()) continue;
    struct stat status {};
    (void)lstat(entry.path().c_str(), &status);
    files[entry.path().string().substr(folder.size())] =
        std::to_string(status.st_mode & 07777) + " " + ContentsOf(entry.path());
  }
  return files;
}

void ExpectSameFiles(const std::map<std::string, std::string>& expected,
                     const std::map<std::string, std::string>& seen) {
  std::string expectedNames, seenNames;
  for (const auto& [name, text] : expected) expectedNames += name + "\n";
  for (const auto& [name, text] : seen) seenNames += name + "\n";
  ExpectEqual("the files", expectedNames, seenNames);
  for (const auto& [name, text] : expected)
    ExpectEqual("mode and contents of " + name, text, seen.at(name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  (void)TakeErrorStream();  // the library's remarks about the service account
  folder.Clear();
  Install(LineParts{});
  FakeIds::SetProcessId(4711);

  Fields input(data, size);
  const std::int64_t keep = input.NextNumber(-2, 5);
  const auto limit = static_cast<std::uint64_t>(input.NextNumber(0, 4096));
  Model model(keep, limit);
  {
    LogFileWriter writer(fileName, folder.Path(), keep, limit);
    constexpr int mostLines = 60;
    for (int line = 0; line < mostLines && !input.AtEnd(); ++line) {
      const std::string field = input.Next();
      const std::size_t bar = std::min(field.find('|'), field.size());
      const std::string key = Tamed(Fields::Expanded(field.substr(0, bar)));
      const std::string text =
          Fields::Expanded(field.substr(std::min(bar + 1, field.size()))) + "\n";
      model.WriteLine(key, text);
      writer.WriteLine(key, text);
    }
  }
  ExpectSameFiles(model.Files(), FilesBelow(folder.Path()));
  return 0;
}
