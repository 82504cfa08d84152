#include <cstdio>

#include "Probe.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: channel_probe <command> [arguments]\n");
    return 2;
  }
  const std::string name = argv[1];
  for (const auto& find : {FindExitCommand, FindForkCommand, FindDescriptorCommand, FindDiskCommand,
                           FindStandardErrorCommand, FindTracerCommand}) {
    if (const Command command = find(name)) return command(Arguments(argv + 2, argv + argc));
  }
  std::fprintf(stderr, "channel_probe: no such command: %s\n", argv[1]);
  return 2;
}
