#ifndef ZIN_RELIABILITY_RECORDS_H
#define ZIN_RELIABILITY_RECORDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// A record is a message whose every byte follows from three numbers. What is
// read back can therefore be told apart exactly: whole, cut, torn, doubled,
// missing, or somebody else's.
struct RecordId {
  unsigned writer = 0;  // process or generation, so that a foreign line is known
  unsigned thread = 0;
  std::uint64_t sequence = 0;  // from 0, without a gap, per writer and thread
};

// "rec 0.3.17 <filler>|"; 20 to about 160 bytes, the length differs from record
// to record.
std::string RecordText(const RecordId& id);

// The numbers at the beginning of a text that begins like a record and holds
// all of them.
std::optional<RecordId> ParseRecordId(std::string_view text);

#endif  // ZIN_RELIABILITY_RECORDS_H
