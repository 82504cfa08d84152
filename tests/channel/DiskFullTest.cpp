#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "RunProgram.h"
#include "Scenario.h"
#include "Surroundings.h"
#include "Text.h"

using testing::HasSubstr;

namespace {

// A file system of the probe's own, which nobody else sees and which goes away
// with it; so the probe copies what it wrote to standard output.
TEST(DiskFull, LosesTheLinesOfThatTimeAndNoneThatComeAfterRoomIsBack) {
  SKIP_IF(WhyNoSmallFileSystem());
  const ScratchDir dir;

  const ProgramResult result =
      RunProgram({"unshare", "--mount", CHANNEL_PROBE, "disk-full", dir.Path()});

  ASSERT_EQ(result.exitCode, 0) << result.standardError;
  const std::string& text = result.standardOutput;
  // The first of them may stand behind what is left of a line that was cut.
  std::size_t position = 0;
  for (int i = 1; i <= 100; ++i) {
    const std::string end = "] [Probe]: room again " + std::to_string(i) + " end\n";
    const std::size_t found = text.find(end);
    ASSERT_NE(found, std::string::npos) << end;
    EXPECT_EQ(text.find(end, found + 1), std::string::npos) << end;
    EXPECT_GT(found, position);
    position = found;
  }
  const std::vector<std::string> lines = SplitLines(text);
  // Nothing of a lost line turns up later: from the second line after room came
  // back, each one begins with its header.
  const auto second = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
    return line.ends_with("room again 2 end");
  });
  ASSERT_NE(second, lines.end());
  for (auto line = second; line != lines.end(); ++line) {
    EXPECT_TRUE(line->starts_with("[channel_probe] [")) << *line;
    EXPECT_EQ(line->find("while full"), std::string::npos) << *line;
  }
}

}  // namespace
