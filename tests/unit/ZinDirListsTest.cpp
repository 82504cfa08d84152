#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "ScratchDir.h"
#include "ZinDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
namespace fs = std::filesystem;

void Touch(const ScratchDir& dir, const std::vector<std::string>& names) {
  for (const std::string& name : names) dir.Write(name, "");
}

// ---- Log files ----------------------------------------------------------

TEST(ZinListLogFiles, IsEmptyForAMissingDirectory) {
  const ScratchDir dir;

  EXPECT_THAT(ZinListLogFiles(dir / "missing"), IsEmpty());
}

TEST(ZinListLogFiles, IsEmptyForAFile) {
  const ScratchDir dir;
  Touch(dir, {"x.log"});

  EXPECT_THAT(ZinListLogFiles(dir / "x.log"), IsEmpty());
}

TEST(ZinListLogFiles, ListsFullPathsOfLogFilesAndOfNamesOfThreeBytes) {
  const ScratchDir dir;
  Touch(dir, {"x.log", "x.log.1", "abc", ".log"});
  fs::create_directory(dir / "sub.log");

  EXPECT_THAT(ZinListLogFiles(dir.Path()),
              UnorderedElementsAre(dir / "x.log", dir / "abc", dir / ".log"));
}

TEST(ZinListLogFiles, LeavesOutNamesOfOneTwoAndFourBytesWithoutTheSuffix) {
  const ScratchDir dir;
  Touch(dir, {"a", "ab", "abcd", "abcde"});

  EXPECT_THAT(ZinListLogFiles(dir.Path()), IsEmpty());
}

TEST(ZinListLogFiles, LooksAtTheLastSuffixOfAName) {
  const ScratchDir dir;
  Touch(dir, {"x.log.y.log", "x.log.log", "x.log.y"});

  EXPECT_THAT(ZinListLogFiles(dir.Path()),
              UnorderedElementsAre(dir / "x.log.y.log", dir / "x.log.log"));
}

TEST(ZinListLogFiles, TellsUpperFromLowerCase) {
  const ScratchDir dir;
  Touch(dir, {"x.LOG", "y.Log"});

  EXPECT_THAT(ZinListLogFiles(dir.Path()), IsEmpty());
}

TEST(ZinListLogFiles, NeverDescendsIntoADirectory) {
  const ScratchDir dir;
  fs::create_directory(dir / "net");
  fs::create_directory(dir / "abc");
  Touch(dir, {"net/x.log", "abc/y.log"});

  EXPECT_THAT(ZinListLogFiles(dir.Path()), IsEmpty());
}

TEST(ZinListLogFiles, JudgesALinkByItsTarget) {
  const ScratchDir dir;
  fs::create_directory(dir / "directory");
  Touch(dir, {"directory/target"});
  fs::create_symlink(dir / "directory/target", dir / "to-file.log");
  fs::create_directory_symlink(dir / "directory", dir / "to-directory.log");
  fs::create_symlink(dir / "nowhere", dir / "dangling.log");

  EXPECT_THAT(ZinListLogFiles(dir.Path()), ElementsAre(dir / "to-file.log"));
}

TEST(ZinListLogFiles, TakesWhateverIsNoDirectory) {
  const ScratchDir dir;
  ASSERT_EQ(mkfifo((dir / "pipe.log").c_str(), 0600), 0);

  EXPECT_THAT(ZinListLogFiles(dir.Path()), ElementsAre(dir / "pipe.log"));
}

// What the limit on the total size is compared with: somebody else's archive in the
// directory must not cost the log files their lives.
TEST(ZinListLogFiles, AddsUpTheSizesOfTheFilesThatItListsAlone) {
  const ScratchDir dir;
  dir.Write("x.log", "12345");
  dir.Write("abc", "123");
  dir.Write("x.log.gz", std::string(100, 'x'));
  dir.Write("core.4711", std::string(1000, 'x'));
  fs::create_directory(dir / "sub.log");
  std::uint64_t totalBytes = 1000;  // of an earlier list; not to be added to

  EXPECT_THAT(ZinListLogFiles(dir.Path(), totalBytes),
              UnorderedElementsAre(dir / "x.log", dir / "abc"));

  EXPECT_EQ(totalBytes, 5u + 3u);
}

TEST(ZinListLogFiles, DoublesATrailingSeparator) {
  const ScratchDir dir;
  Touch(dir, {"x.log"});

  EXPECT_THAT(ZinListLogFiles(dir.Path() + "/"), ElementsAre(dir.Path() + "//x.log"));
}

// ---- Rotated files ------------------------------------------------------

TEST(ZinListRotatedFiles, ListsSiblingsByAgeAndWhateverElseBeginsWithTheStem) {
  const ScratchDir dir;
  Touch(dir, {"app.log", "app_20240102.log", "app_20240101.log", "app.log.1", "app-x.log.log",
              "application.log", "other.log"});

  EXPECT_THAT(ZinListRotatedFiles("app.log", dir.Path()),
              ElementsAre("app_20240101.log", "app_20240102.log", "application.log"));
}

TEST(ZinListRotatedFiles, LeavesOutANameWhoseFirstSuffixIsNotItsEnd) {
  const ScratchDir dir;
  Touch(dir, {"x.log.y.log", "x_1.log"});

  EXPECT_THAT(ZinListRotatedFiles("x.log", dir.Path()), ElementsAre("x_1.log"));
}

TEST(ZinListRotatedFiles, LeavesOutANameThatHoldsTheStemFurtherBehind) {
  const ScratchDir dir;
  Touch(dir, {"my-app_1.log", "app_1.log"});

  EXPECT_THAT(ZinListRotatedFiles("app.log", dir.Path()), ElementsAre("app_1.log"));
}

TEST(ZinListRotatedFiles, TakesEveryLongerNameForABaseNameThatIsTheSuffix) {
  const ScratchDir dir;
  Touch(dir, {".log", "a.log", "_2.log", "b.log.log", "abcd", "abcdef"});

  EXPECT_THAT(ZinListRotatedFiles(".log", dir.Path()), ElementsAre("_2.log", "a.log"));
}

TEST(ZinListRotatedFiles, LeavesOutANameThatIsTheSuffix) {
  const ScratchDir dir;
  Touch(dir, {".log"});

  EXPECT_THAT(ZinListRotatedFiles("", dir.Path()), IsEmpty());
}

TEST(ZinListRotatedFiles, TakesTheWholeOfAShortBaseNameAsTheStem) {
  const ScratchDir dir;
  Touch(dir, {"abc", "abc_1.log", "ab_2.log", "a_3.log"});

  EXPECT_THAT(ZinListRotatedFiles("abc", dir.Path()), ElementsAre("abc_1.log"));
  EXPECT_THAT(ZinListRotatedFiles("ab", dir.Path()), ElementsAre("ab_2.log", "abc_1.log"));
}

TEST(ZinListRotatedFiles, TakesEntriesOfAnyKind) {
  const ScratchDir dir;
  fs::create_directory(dir / "app_1.log");
  fs::create_symlink(dir / "nowhere", dir / "app_2.log");

  EXPECT_THAT(ZinListRotatedFiles("app.log", dir.Path()), ElementsAre("app_1.log", "app_2.log"));
}

TEST(ZinListRotatedFiles, SortsByBytesWhateverTheLanguage) {
  const ScratchDir dir;
  Touch(dir, {"appa.log", "appB.log", "app_.log", "app\xc3\xa9.log", "app1.log"});

  // '1' 0x31, 'B' 0x42, '_' 0x5f, 'a' 0x61, 0xc3 last.
  EXPECT_THAT(ZinListRotatedFiles("app.log", dir.Path()),
              ElementsAre("app1.log", "appB.log", "app_.log", "appa.log", "app\xc3\xa9.log"));
}

TEST(ZinListRotatedFiles, IsEmptyForAMissingDirectory) {
  const ScratchDir dir;

  EXPECT_THAT(ZinListRotatedFiles("app.log", dir / "missing"), IsEmpty());
}

}  // namespace
