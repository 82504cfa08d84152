#include "RecordedReads.h"

#include <atomic>

namespace {
// A constant at first: the library reads the process id while it is loaded.
std::atomic<RecordedReads*> current{nullptr};
}  // namespace

RecordedReads::RecordedReads() {
  current = this;
}

RecordedReads::~RecordedReads() {
  current = nullptr;
}

void RecordedReads::Note(const char* name) {
  if (RecordedReads* const reads = current) reads->names.emplace_back(name);
}
