#ifndef ZIN_RECORDED_READS_H
#define ZIN_RECORDED_READS_H

#include <string>
#include <vector>

// What is read from the fakes while this lives, in order: "date and time",
// "tick", "process name", "process id", "thread id". One at a time, and only
// while a single thread reads.
class RecordedReads {
 public:
  RecordedReads();
  ~RecordedReads();
  RecordedReads(const RecordedReads&) = delete;
  RecordedReads& operator=(const RecordedReads&) = delete;

  const std::vector<std::string>& Names() const { return names; }

  // For the fakes. Does nothing while no RecordedReads lives.
  static void Note(const char* name);

 private:
  std::vector<std::string> names;
};

#endif  // ZIN_RECORDED_READS_H
