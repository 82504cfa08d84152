// check_records --program NAME|--plain PATH...: prints the account of the files,
// and of the ".log" files of the directories, as one JSON object.
#include <cstdio>
#include <string>

#include "RecordCheck.h"

int main(int argc, char** argv) {
  int at = 1;
  LineShapes shapes = LineShapes::Plain();
  if (argc > 2 && std::string(argv[1]) == "--program") {
    shapes = LineShapes::WithHeader(argv[2]);
    at = 3;
  } else if (argc > 1 && std::string(argv[1]) == "--plain") {
    at = 2;
  } else {
    std::fprintf(stderr, "usage: check_records --program NAME|--plain PATH...\n");
    return 2;
  }
  RecordCheck check(shapes);
  for (; at < argc; ++at) check.Add(argv[at]);
  std::printf("%s\n", check.Json().c_str());
  return 0;
}
