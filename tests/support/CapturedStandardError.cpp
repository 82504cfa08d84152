#include "CapturedStandardError.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>

CapturedStandardError::CapturedStandardError()
    : file(memfd_create("standard-error", MFD_CLOEXEC)),
      original(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
  EXPECT_GE(dup2(file, STDERR_FILENO), 0);
}

CapturedStandardError::~CapturedStandardError() {
  (void)dup2(original, STDERR_FILENO);
  (void)close(original);
  (void)close(file);
}

std::string CapturedStandardError::Text() const {
  std::string text;
  std::array<char, 4096> part{};
  ssize_t got = 0;
  while ((got = pread(file, part.data(), part.size(), static_cast<off_t>(text.size()))) > 0) {
    text.append(part.data(), static_cast<std::size_t>(got));
  }
  return text;
}
