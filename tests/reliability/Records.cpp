#include "Records.h"

#include <charconv>

namespace {

constexpr std::string_view mark = "rec ";
constexpr std::uint64_t shortestFiller = 8;
constexpr std::uint64_t fillerLengths = 128;

// splitmix64: neighbouring numbers give fillers that share nothing.
std::uint64_t Scramble(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15U;
  value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
  value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
  return value ^ (value >> 31U);
}

template <typename Number>
bool TakeNumber(std::string_view& text, char end, Number& number) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || stop == text.data() + text.size() || *stop != end) return false;
  text.remove_prefix(static_cast<std::size_t>(stop - text.data()) + 1);
  return true;
}

}  // namespace

std::string RecordText(const RecordId& id) {
  std::string text(mark);
  text += std::to_string(id.writer) + '.' + std::to_string(id.thread) + '.' +
          std::to_string(id.sequence) + ' ';
  std::uint64_t state =
      Scramble((std::uint64_t{id.writer} << 48U) ^ (std::uint64_t{id.thread} << 40U) ^ id.sequence);
  const std::uint64_t length = shortestFiller + state % fillerLengths;
  for (std::uint64_t i = 0; i < length; ++i) {
    if (i % 12 == 0) state = Scramble(state);
    text += static_cast<char>('a' + (state >> (5 * (i % 12))) % 26);
  }
  return text + '|';
}

std::optional<RecordId> ParseRecordId(std::string_view text) {
  if (!text.starts_with(mark)) return std::nullopt;
  text.remove_prefix(mark.size());
  RecordId id;
  if (!TakeNumber(text, '.', id.writer) || !TakeNumber(text, '.', id.thread) ||
      !TakeNumber(text, ' ', id.sequence)) {
    return std::nullopt;
  }
  return id;
}
