// Which file names and directories a start accepts.
//
// Input: file name, directory.
#include "Expect.h"
#include "Fields.h"
#include "StartChecks.h"

namespace {

bool IsNameValid(const std::string& name) {
  if (name.find('/') != std::string::npos) return false;
  if (name.size() == 3) return true;
  std::size_t suffixes = 0;
  for (std::size_t i = 0; i < name.size(); ++i) suffixes += name.compare(i, 4, ".log") == 0;
  return suffixes == 1 && name.ends_with(".log");
}

bool IsDirectoryValid(const std::string& directory) {
  if (directory.size() < 2) return true;
  for (std::size_t i = 0; i + 3 <= directory.size(); ++i) {
    const char l = directory[i], o = directory[i + 1], g = directory[i + 2];
    if ((l == 'l' || l == 'L') && (o == 'o' || o == 'O') && (g == 'g' || g == 'G')) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fields input(data, size);
  const std::string name = input.NextText(), directory = input.NextText();
  const bool nameIsValid = IsNameValid(name);
  ExpectEqual("accepted, directory unchecked", static_cast<int>(nameIsValid),
              static_cast<int>(IsLogPathValid(name, directory, false)));
  ExpectEqual("accepted", static_cast<int>(nameIsValid && IsDirectoryValid(directory)),
              static_cast<int>(IsLogPathValid(name, directory, true)));
  return 0;
}
