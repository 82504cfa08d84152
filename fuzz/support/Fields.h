// An input as its lines: seeds can be written and read, and a mutation changes
// one field.
#ifndef ZIN_FUZZ_FIELDS_H
#define ZIN_FUZZ_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class Fields {
 public:
  Fields(const std::uint8_t* data, std::size_t size)
      : rest(reinterpret_cast<const char*>(data), size) {}

  bool AtEnd() const { return rest.empty(); }

  // The next line, up to its first NUL; empty at the end of the input.
  std::string Next();

  // The same as text, where 300*ab stands for ab three hundred times.
  std::string NextText() { return Expanded(Next()); }

  // The same as a number, 0 when it is none, within the bounds.
  std::int64_t NextNumber(std::int64_t least, std::int64_t most);

  // Calls take(line) for each of the next lines that is not empty, at most `most`
  // of all.
  template <typename Take>
  void EachLine(int most, Take take) {
    for (int lines = 0; lines < most && !AtEnd(); ++lines) {
      const std::string line = Next();
      if (!line.empty()) take(line);
    }
  }

  static std::string Expanded(const std::string& field);

 private:
  std::string_view rest;
};

#endif  // ZIN_FUZZ_FIELDS_H
