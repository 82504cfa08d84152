#include "Ledger.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

Ledger::Ledger(const std::string& path) : slots(nullptr) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  constexpr std::size_t size = slotCount * sizeof(std::atomic<std::uint64_t>);
  if (file < 0 || ftruncate(file, size) != 0) std::abort();
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) std::abort();
  (void)close(file);
  slots = static_cast<std::atomic<std::uint64_t>*>(memory);
}
