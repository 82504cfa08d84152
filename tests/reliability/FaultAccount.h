#ifndef ZIN_RELIABILITY_FAULT_ACCOUNT_H
#define ZIN_RELIABILITY_FAULT_ACCOUNT_H

#include <cstdint>
#include <string>
#include <vector>

#include "RecordCheck.h"

// What may be lost when a system call fails, for the drivers of that campaign.

constexpr std::uint64_t linesBefore = 4;  // of an earlier run, writer 0
constexpr unsigned linesFaulty = 8;       // while calls fail, writer 1
constexpr unsigned linesAfter = 4;        // when they fail no more, writer 1

// The sequences that one line of the driver holds: what one write has to do.
struct SequenceRange {
  std::uint64_t begin;
  std::uint64_t end;
};

// A driver reports to a file, for its standard output may be closed. Broken ends
// the process with status 1.
void ReportTo(const std::string& path);
[[noreturn]] void Broken(const std::string& reason);
void ReportCalls();

// `lines` are those of writer 1, by the number that FaultsAtLine was told. Lost
// may be those whose write or open failed, and no others; nothing is damaged or
// doubled, cut only where a write failed, emptied only with an excuse.
void CheckFaultAccount(const RecordCheck& check, std::uint64_t expectedBefore,
                       const std::vector<SequenceRange>& lines);

#endif  // ZIN_RELIABILITY_FAULT_ACCOUNT_H
