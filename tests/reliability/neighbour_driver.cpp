// neighbour_driver <directory> <ledger> <writer> <lines>: one of several
// processes that write the same file name in one directory.
#include <cstdlib>

#include "Driver.h"

int main(int argc, char** argv) {
  Require(argc == 5, "usage: neighbour_driver <directory> <ledger> <writer> <lines>");
  Ledger ledger(argv[2]);
  const auto writer = static_cast<unsigned>(std::atoi(argv[3]));
  const auto lines = static_cast<std::uint64_t>(std::atoll(argv[4]));
  LogSettings settings;
  settings.fileSizeMiB = 1;
  ++ledger[0];
  WaitUntil([&] { return ledger[0].load() == 4; }, "the neighbours");
  StartLogWith(argv[1], settings);
  for (std::uint64_t i = 0; i < lines; ++i) Emit({writer, 0, i});
  Logger().StopSystem();
  return 0;
}
