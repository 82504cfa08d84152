#include <gtest/gtest.h>

#include "StartChecks.h"

namespace {

bool NamePasses(const std::string& name) {
  return IsLogPathValid(name, "/var/log", true);
}

bool DirectoryPasses(const std::string& directory) {
  return IsLogPathValid("app.log", directory, true);
}

// ---- File name ---------------------------------------------------------------

TEST(IsLogPathValid, AcceptsANameThatEndsInLog) {
  EXPECT_TRUE(NamePasses("app.log"));
  EXPECT_TRUE(NamePasses("a b-c.log"));
}

TEST(IsLogPathValid, AcceptsTheSuffixAlone) {
  EXPECT_TRUE(NamePasses(".log"));
}

TEST(IsLogPathValid, RefusesAnotherSuffix) {
  EXPECT_FALSE(NamePasses("app.txt"));
  EXPECT_FALSE(NamePasses("applog"));
  EXPECT_FALSE(NamePasses("app12"));
}

TEST(IsLogPathValid, RefusesANameThatGoesOnAfterTheSuffix) {
  EXPECT_FALSE(NamePasses("app.log1"));
  EXPECT_FALSE(NamePasses("app.log.gz"));
  EXPECT_FALSE(NamePasses(".logx"));
}

TEST(IsLogPathValid, RefusesASecondSuffix) {
  EXPECT_FALSE(NamePasses("a.log.log"));
  EXPECT_FALSE(NamePasses(".log.log"));
}

TEST(IsLogPathValid, TakesTheSuffixInSmallLettersOnly) {
  EXPECT_FALSE(NamePasses("app.LOG"));
  EXPECT_FALSE(NamePasses("app.Log"));
}

TEST(IsLogPathValid, RefusesASlashInTheName) {
  EXPECT_FALSE(NamePasses("logs/app.log"));
  EXPECT_FALSE(NamePasses("/app.log"));
}

TEST(IsLogPathValid, AcceptsAnyNameOfThreeCharacters) {
  EXPECT_TRUE(NamePasses("abc"));
  EXPECT_TRUE(NamePasses("log"));
  EXPECT_TRUE(NamePasses("..."));
}

TEST(IsLogPathValid, RefusesThreeCharactersWithASlash) {
  EXPECT_FALSE(NamePasses("a/b"));
  EXPECT_FALSE(NamePasses("/ab"));
}

TEST(IsLogPathValid, RefusesOtherShortNames) {
  EXPECT_FALSE(NamePasses(""));
  EXPECT_FALSE(NamePasses("a"));
  EXPECT_FALSE(NamePasses("ab"));
  EXPECT_FALSE(NamePasses("abcd"));
}

// ---- Directory ---------------------------------------------------------------

TEST(IsLogPathValid, AcceptsADirectoryThatMentionsLog) {
  EXPECT_TRUE(DirectoryPasses("/var/log/app"));
  EXPECT_TRUE(DirectoryPasses("catalogue"));
  EXPECT_TRUE(DirectoryPasses("log"));
}

TEST(IsLogPathValid, AcceptsLogInAnyLetterCase) {
  EXPECT_TRUE(DirectoryPasses("/tmp/Log"));
  EXPECT_TRUE(DirectoryPasses("./MyLogs"));
  EXPECT_TRUE(DirectoryPasses("/srv/LOGS"));
  EXPECT_TRUE(DirectoryPasses("/srv/lOg"));
}

TEST(IsLogPathValid, RefusesADirectoryWithoutLog) {
  EXPECT_FALSE(DirectoryPasses("/tmp/data"));
  EXPECT_FALSE(DirectoryPasses("/lo/g"));
  EXPECT_FALSE(DirectoryPasses(".."));
  EXPECT_FALSE(DirectoryPasses("lo"));
}

TEST(IsLogPathValid, AcceptsADirectoryOfOneOrNoCharacter) {
  EXPECT_TRUE(DirectoryPasses("."));
  EXPECT_TRUE(DirectoryPasses("/"));
  EXPECT_TRUE(DirectoryPasses("x"));
  EXPECT_TRUE(DirectoryPasses(""));
}

TEST(IsLogPathValid, StillChecksTheNameInSuchADirectory) {
  EXPECT_FALSE(IsLogPathValid("app.txt", ".", true));
  EXPECT_FALSE(IsLogPathValid("app.txt", "", true));
}

TEST(IsLogPathValid, DoesNotLookForLogInTheName) {
  EXPECT_FALSE(IsLogPathValid("log.log", "/tmp/data", true));
}

TEST(IsLogPathValid, LooksAtNoDirectoryWhenTheCheckIsOff) {
  EXPECT_TRUE(IsLogPathValid("app.log", "/tmp/data", false));
  EXPECT_TRUE(IsLogPathValid("abc", "..", false));
}

TEST(IsLogPathValid, ChecksTheNameEvenWhenTheDirectoryCheckIsOff) {
  EXPECT_FALSE(IsLogPathValid("app.txt", "/var/log", false));
  EXPECT_FALSE(IsLogPathValid("logs/app.log", "/tmp/data", false));
}

}  // namespace
