#ifndef ZIN_RELIABILITY_LEDGER_H
#define ZIN_RELIABILITY_LEDGER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

// Numbers in a file that is mapped shared: they outlive the driver, however it
// ends, and can be read from outside while it runs.
class Ledger {
 public:
  static constexpr std::size_t slotCount = 512;
  explicit Ledger(const std::string& path);
  std::atomic<std::uint64_t>& operator[](std::size_t slot) { return slots[slot]; }

 private:
  std::atomic<std::uint64_t>* slots;  // never unmapped: threads write to the end
};

#endif  // ZIN_RELIABILITY_LEDGER_H
