// Real directories change hands to an account qorsrvr, user 54321 and group
// 54322, that a table of accounts in this folder provides.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

#include "CapturedStandardError.h"
#include "LogFileWriter.h"
#include "MakeDirs.h"
#include "OwnershipLines.h"
#include "ScratchDir.h"
#include "Surroundings.h"
#include "ZinDirOwnership.h"

namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
namespace fs = std::filesystem;

class AccountOwnership : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* const folder = std::getenv("ZIN_TEST_ACCOUNTS");
    ASSERT_NE(folder, nullptr) << "ZIN_TEST_ACCOUNTS must name the folder of the tables";
    // Read by the first lookup of the process.
    setenv("NSS_WRAPPER_PASSWD", (std::string(folder) + "/passwd").c_str(), 1);
    setenv("NSS_WRAPPER_GROUP", (std::string(folder) + "/group").c_str(), 1);
    const passwd* const account = getpwnam("qorsrvr");
    ASSERT_NE(account, nullptr) << "the table of accounts is not in use";
    ASSERT_EQ(account->pw_uid, 54321u);
    ASSERT_EQ(account->pw_gid, 54322u);
    SKIP_IF(WhyNoFilesOf(54321, 54322));
  }

  std::pair<uid_t, gid_t> Owner(const std::string& name = "") {
    return {dir.OwnerOf(name), dir.GroupOf(name)};
  }

  int Chown(const std::string& path) {
    return ZinChownDirAndFirstDepthFiles(path.c_str(), "qorsrvr");
  }

  std::vector<std::string> Lines() { return WithoutSourceLines(error.Text()); }

  const ScratchDir dir;
  const CapturedStandardError error;
};

const auto serviceAccount = Pair(54321u, 54322u);
const auto root = Pair(0u, 0u);

TEST_F(AccountOwnership, OfAnEmptyDirectoryChanges) {
  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(Owner(), serviceAccount);
  EXPECT_EQ(error.Text(), "");
}

TEST_F(AccountOwnership, OfDirectoryFileAndLinkChangesAndNotOfSubDirectoryAndTarget) {
  const ScratchDir outside;
  outside.Write("target", "");
  fs::create_directory(dir / "sub");
  dir.Write("sub/inner", "");
  dir.Write("file", "");
  fs::create_symlink(outside / "target", dir / "link");

  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(Owner(), serviceAccount);
  EXPECT_THAT(Owner("file"), serviceAccount);
  EXPECT_THAT(Owner("link"), serviceAccount);
  EXPECT_THAT(Owner("sub"), root);
  EXPECT_THAT(Owner("sub/inner"), root);
  EXPECT_EQ(outside.OwnerOf("target"), 0u);
}

TEST_F(AccountOwnership, OfDanglingLinksAndLinksToDirectoriesStays) {
  fs::create_directory(dir / "sub");
  fs::create_directory_symlink(dir / "sub", dir / "link-to-sub");
  fs::create_symlink(dir / "nowhere", dir / "dangling");

  EXPECT_EQ(Chown(dir.Path()), 0);

  EXPECT_THAT(Owner("link-to-sub"), root);
  EXPECT_THAT(Owner("dangling"), root);
}

TEST_F(AccountOwnership, OfAFileChangesBeforeTheFailure) {
  dir.Write("app.log", "");

  EXPECT_EQ(Chown(dir / "app.log"), -10000);

  EXPECT_THAT(Owner("app.log"), serviceAccount);
  EXPECT_THAT(Lines(),
              ElementsAre(OwnershipLine("Failed open dir,path=" + dir.Path() + "/app.log")));
}

TEST_F(AccountOwnership, OfAMissingDirectoryIsReportedWithItsNumber) {
  EXPECT_EQ(Chown(dir / "missing"), -10000);

  EXPECT_THAT(Lines(), ElementsAre(OwnershipLine("Failed to lchown to user, error:2")));
}

TEST_F(AccountOwnership, OfTheLastDirectoryAloneChangesWhenAPathIsMade) {
  EXPECT_TRUE(ZinMakeDirs(dir / "a/b"));

  EXPECT_THAT(Owner("a"), root);
  EXPECT_THAT(Owner("a/b"), serviceAccount);
}

TEST_F(AccountOwnership, OfDirectoryLiveAndRotatedFileChangesWhenALogIsWritten) {
  LogFileWriter writer("app.log", dir / "log", 5, 0);

  writer.WriteLine("", "line\n");

  EXPECT_THAT(Owner("log"), serviceAccount);
  EXPECT_THAT(Owner("log/app.log"), serviceAccount);
  EXPECT_THAT(Owner("log/app_20260105090307042-000-4711.log"), serviceAccount);
  EXPECT_THAT(Owner(), root);
  EXPECT_EQ(dir.ModeOf("log/app.log"), 0640u);
}

TEST_F(AccountOwnership, OfAnUnknownAccountIsReportedOnce) {
  EXPECT_EQ(ZinChownDirAndFirstDepthFiles(dir.Path().c_str(), "nobody-at-all"), -10000);
  EXPECT_EQ(ZinChownDirAndFirstDepthFiles(dir.Path().c_str(), "nobody-at-all"), -10000);

  ASSERT_EQ(Lines().size(), 1u);
  EXPECT_THAT(Lines()[0], ::testing::HasSubstr("Can't get user name id, errno: "));
  EXPECT_THAT(Lines()[0], ::testing::EndsWith(", owner = nobody-at-all"));
  EXPECT_THAT(Owner(), root);
}

}  // namespace
