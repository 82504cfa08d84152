// Messages and progress for the person who looks on.
#ifndef ZINPIPE_STANDARD_ERROR_H
#define ZINPIPE_STANDARD_ERROR_H

#include <cstdint>
#include <string>

// Writes one line, "zinpipe: " and the text.
void Say(const std::string& text);

// "1 line", "2 lines".
std::string Counted(std::uint64_t count, const std::string& what);

// Shows how much of an input of known size was taken in, a few times a second,
// in one line that is written over; only when standard error is a terminal.
class Progress {
 public:
  explicit Progress(std::uint64_t totalBytes);  // 0: not known, nothing is shown
  ~Progress();                                  // clears the line
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(std::uint64_t doneBytes);

 private:
  std::uint64_t total;
  bool active;
  std::int64_t lastShown = 0;  // milliseconds of the monotonic clock
  std::int64_t started = 0;
};

#endif  // ZINPIPE_STANDARD_ERROR_H
