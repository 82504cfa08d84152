#ifndef ZIN_RECORD_SPLITTER_H
#define ZIN_RECORD_SPLITTER_H

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

// Puts every record of a log on a line of its own.
//
// The logger cuts a record after 2046 bytes and then writes no newline, so that
// the next record stands on the same line. Such a place is known exactly: 2046
// bytes behind the beginning of a record there is the header of another. Only
// there, a newline is added; a message that quotes a line of a log is left
// alone. Everything else passes unchanged.
class RecordSplitter {
 public:
  enum class Places {
    Cut,       // where the logger cuts
    Anywhere,  // wherever a header stands, as after a write that broke off
  };

  explicit RecordSplitter(Places whereToLook) : places(whereToLook) {}

  // Takes the next bytes of the log; appends to `out` what can be decided. At
  // most a header's length is held back.
  void Take(std::string_view bytes, std::string& out);

  // The log ends here: appends the rest, and a newline if there is none. The
  // next bytes begin another log.
  void End(std::string& out);

 private:
  bool Step(std::string& out, bool atEnd);
  std::string_view Rest() const { return std::string_view(held).substr(next); }
  std::uint64_t BytesToCut() const;
  bool IsPlaceToLook() const;
  void Pass(std::size_t length, std::string& out);

  Places places;
  std::string held;         // bytes taken; those before `next` are dealt with
  std::size_t next = 0;     // index into `held`
  std::uint64_t count = 0;  // bytes of this log passed on
  bool lineBegins = true;
  // Where records may have begun, counted like `count`, within the last 2046
  // bytes. More than one, since a message of several lines may quote a log.
  std::deque<std::uint64_t> begins;
};

#endif  // ZIN_RECORD_SPLITTER_H
