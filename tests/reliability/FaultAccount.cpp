#include "FaultAccount.h"

#include <unistd.h>

#include <fstream>

#include "Faults.h"

namespace {

std::string& ReportPath() {
  static std::string& path = *new std::string;
  return path;
}

bool IsOnDisk(const RecordCheck& check, unsigned writer, std::uint64_t sequence) {
  const RecordCheck::Stream* const stream = check.Find(writer, 0);
  return stream != nullptr && sequence < stream->timesSeen.size() &&
         stream->timesSeen[sequence] != 0;
}

unsigned CountFailedWrites() {
  unsigned count = 0;
  for (unsigned line = 0; line < linesFaulty; ++line) count += FaultsWriteFailedAt(line) ? 1U : 0U;
  return count;
}

}  // namespace

void ReportTo(const std::string& path) {
  ReportPath() = path;
}

void Broken(const std::string& reason) {
  std::ofstream(ReportPath()) << reason << '\n';
  _exit(1);
}

void ReportCalls() {
  std::ofstream(ReportPath()) << "{\"injected\": " << FaultsInjected()
                              << ", \"counts\": " << FaultsCounts() << "}\n";
}

void CheckFaultAccount(const RecordCheck& check, std::uint64_t expectedBefore,
                       const std::vector<SequenceRange>& lines) {
  if (check.damaged > 0) Broken("damaged: " + check.firstDamaged);
  if (check.duplicates > 0) Broken("doubled lines");
  if (check.cutInside + check.cutTails > CountFailedWrites()) Broken("cut where no write failed");
  if (FaultsUnexcused() > 0) Broken("a file was emptied without a reason");

  for (std::uint64_t i = 0; i < expectedBefore; ++i) {
    if (!IsOnDisk(check, 0, i)) Broken("lost line " + std::to_string(i) + " of the earlier run");
  }
  for (unsigned i = 0; i < lines.size(); ++i) {
    if (i < linesFaulty && (FaultsWriteFailedAt(i) || FaultsOpenFailedAt(i))) continue;
    for (std::uint64_t sequence = lines[i].begin; sequence < lines[i].end; ++sequence) {
      if (!IsOnDisk(check, 1, sequence)) {
        Broken("lost line " + std::to_string(i) + ", record " + std::to_string(sequence));
      }
    }
  }
}
