#include "ServedFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace {

constexpr int statusOk = 200;
constexpr int statusForbidden = 403;
constexpr int statusNotFound = 404;
constexpr int statusServerError = 500;

// Empty, with errno set, when the path cannot be resolved.
std::string Resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                             &std::free);
  return resolved ? std::string(resolved.get()) : std::string();
}

// Decided by the text alone, so that the answer does not tell which files
// exist outside.
bool ClimbsOut(std::string_view path) {
  int depth = 0;
  while (!path.empty()) {
    const std::size_t slash = std::min(path.find('/'), path.size());
    const std::string_view segment = path.substr(0, slash);
    path.remove_prefix(std::min(slash + 1, path.size()));
    if (segment == "..") --depth;
    if (!segment.empty() && segment != "." && segment != "..") ++depth;
    if (depth < 0) return true;
  }
  return false;
}

int StatusOfError(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
      return statusNotFound;
    case EACCES:
    case EPERM:
    case ELOOP:
      return statusForbidden;
    default:
      return statusServerError;
  }
}

}  // namespace

ServedFolder::ServedFolder(const std::string& folder) : root(Resolved(folder)) {
  if (root.empty()) {
    throw std::runtime_error("cannot serve '" + folder + "': " + std::strerror(errno));
  }
  if (!FileDescriptor(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)).IsOpen()) {
    throw std::runtime_error("cannot serve '" + folder + "': " + std::strerror(errno));
  }
}

bool ServedFolder::Holds(std::string_view resolvedPath) const {
  if (root == "/") return true;
  return resolvedPath.starts_with(root) &&
         (resolvedPath.size() == root.size() || resolvedPath[root.size()] == '/');
}

ServedFolder::OpenFile ServedFolder::Open(const std::string& path) const {
  if (ClimbsOut(path)) return {statusForbidden, {}};
  const std::string resolved = Resolved(root + "/" + path);
  if (resolved.empty()) return {StatusOfError(errno), {}};
  if (!Holds(resolved)) return {statusForbidden, {}};

  // Without O_NONBLOCK, opening a named pipe would wait for a writer.
  FileDescriptor file(open(resolved.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file.IsOpen()) return {StatusOfError(errno), {}};
  struct stat status {};
  if (fstat(file.Get(), &status) != 0) return {statusServerError, {}};
  if (!S_ISREG(status.st_mode)) return {statusForbidden, {}};
  return {statusOk, std::move(file), static_cast<std::uint64_t>(status.st_size)};
}

std::string_view ContentTypeOf(std::string_view path) {
  using Pair = std::pair<std::string_view, std::string_view>;
  constexpr std::string_view plainText = "text/plain; charset=utf-8";
  constexpr std::array<Pair, 16> types = {{
      {"css", "text/css; charset=utf-8"},
      {"gif", "image/gif"},
      {"gz", "application/gzip"},
      {"htm", "text/html; charset=utf-8"},
      {"html", "text/html; charset=utf-8"},
      {"jpeg", "image/jpeg"},
      {"jpg", "image/jpeg"},
      {"js", "text/javascript; charset=utf-8"},
      {"json", "application/json"},
      {"log", plainText},
      {"md", "text/markdown; charset=utf-8"},
      {"pdf", "application/pdf"},
      {"png", "image/png"},
      {"svg", "image/svg+xml"},
      {"txt", plainText},
      {"xml", "application/xml"},
  }};
  const std::string_view name = path.substr(path.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  // README, copyright, LICENSE: names without an extension are mostly text.
  if (dot == std::string_view::npos) return plainText;
  const auto found = std::find_if(types.begin(), types.end(), [&](const Pair& pair) {
    return pair.first == name.substr(dot + 1);
  });
  return found == types.end() ? "application/octet-stream" : found->second;
}
