#include "StandardError.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace {

constexpr std::int64_t millisecondsBetween = 200;
constexpr double bytesPerMiB = 1048576.0;

// Back to the first column, and the rest of the line away.
constexpr const char* clearLine = "\r\033[K";

bool progressIsShown = false;

// One write, so that lines of several programs do not mix.
void WriteOut(const std::string& text) {
  if (write(STDERR_FILENO, text.data(), text.size()) < 0) {
    // There is nobody left to tell.
  }
}

std::int64_t NowInMilliseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

}  // namespace

void Say(const std::string& text) {
  WriteOut((progressIsShown ? clearLine : "") + ("zinpipe: " + text + "\n"));
  progressIsShown = false;
}

std::string Counted(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

Progress::Progress(std::uint64_t totalBytes)
    : total(totalBytes),
      active(totalBytes > 0 && isatty(STDERR_FILENO) == 1),
      started(NowInMilliseconds()) {}

Progress::~Progress() {
  if (progressIsShown) WriteOut(clearLine);
  progressIsShown = false;
}

void Progress::Show(std::uint64_t doneBytes) {
  if (!active) return;
  const std::int64_t now = NowInMilliseconds();
  const bool atEnd = doneBytes >= total;
  if (!atEnd && now - lastShown < millisecondsBetween) return;
  lastShown = now;
  // A followed file grows past the size that was known; the display ends there.
  if (atEnd) active = false;

  const double done = static_cast<double>(std::min(doneBytes, total)) / bytesPerMiB;
  const double seconds = std::max(0.001, static_cast<double>(now - started) / 1000.0);
  std::array<char, 100> text{};
  std::snprintf(text.data(), text.size(), "%szinpipe: %3d %%  %.1f of %.1f MiB  %.0f MiB/s",
                clearLine,
                static_cast<int>(100.0 * done * bytesPerMiB / static_cast<double>(total)), done,
                static_cast<double>(total) / bytesPerMiB, done / seconds);
  WriteOut(text.data());
  progressIsShown = true;
}
