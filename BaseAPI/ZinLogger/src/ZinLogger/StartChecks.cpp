#include "StartChecks.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::string_view logSuffix = ".log";
constexpr std::size_t shortestCheckedDirectory = 2;

// ASCII letters only: what a path means must not depend on the locale.
std::string LowerCased(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

}  // namespace

bool IsLogPathValid(const std::string& fileName, const std::string& directory,
                    bool checkDirectory) {
  // Deliberate: a directory of one character passes without "log", and so does
  // the empty one, whose files lie in the root.
  if (checkDirectory && directory.size() >= shortestCheckedDirectory &&
      LowerCased(directory).find("log") == std::string::npos) {
    return false;
  }
  // Deliberate: for a name of three bytes the difference wraps around to the
  // value that a failed search returns, so such a name passes.
  if (fileName.find(logSuffix) != fileName.size() - logSuffix.size()) return false;
  // Deliberate: of the names of three bytes, too, one with a separator is refused.
  return fileName.find('/') == std::string::npos;
}
