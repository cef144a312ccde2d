#include "app/app_paths.h"

#include <gtest/gtest.h>

#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using test::ReadFile;
using test::Sandbox;
using test::WriteFile;

class AppPathsTest : public ::testing::Test {
protected:
    DataLocations Locations() const {
        return {sandbox_ / "LocalAppData", sandbox_ / "Program", {}};
    }
    Sandbox sandbox_;
};

TEST_F(AppPathsTest, withNoSettingsAnywhereTheDataFolderPathIsReturnedAndNoFileIsMade) {
    const auto path = SettingsFilePathFor(Locations());
    EXPECT_EQ(path, sandbox_ / "LocalAppData" / "Tavrin" / "Tavrin.ini");
    EXPECT_TRUE(std::filesystem::is_directory(sandbox_ / "LocalAppData" / "Tavrin"));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(AppPathsTest, dataFolderIsCreatedWithItsParents) {
    const DataLocations locations{sandbox_ / "a" / "b", sandbox_ / "Program", {}};
    EXPECT_EQ(AppDataDirectoryFor(locations), sandbox_ / "a" / "b" / "Tavrin");
    EXPECT_TRUE(std::filesystem::is_directory(sandbox_ / "a" / "b" / "Tavrin"));
}

TEST_F(AppPathsTest, existingSettingsFileIsUsedAsItIs) {
    WriteFile(sandbox_ / "LocalAppData" / "Tavrin" / "Tavrin.ini", "[General]\nnew=1\n");
    WriteFile(sandbox_ / "Program" / "Tavrin.ini", "[General]\nold=1\n");
    const auto path = SettingsFilePathFor(Locations());
    EXPECT_EQ(ReadFile(path), "[General]\nnew=1\n");
}

TEST_F(AppPathsTest, legacyFileBesideTheProgramIsCopiedOnceAndThenUsed) {
    WriteFile(sandbox_ / "Program" / "Tavrin.ini", "[General]\nlegacy=1\n");
    const auto path = SettingsFilePathFor(Locations());
    EXPECT_EQ(path, sandbox_ / "LocalAppData" / "Tavrin" / "Tavrin.ini");
    EXPECT_EQ(ReadFile(path), "[General]\nlegacy=1\n");
    EXPECT_TRUE(std::filesystem::exists(sandbox_ / "Program" / "Tavrin.ini"));  // left in place

    WriteFile(path, "[General]\nchanged=1\n");
    WriteFile(sandbox_ / "Program" / "Tavrin.ini", "[General]\nlegacy=2\n");
    EXPECT_EQ(ReadFile(SettingsFilePathFor(Locations())), "[General]\nchanged=1\n");
}

TEST_F(AppPathsTest, olderDataFolderFileWinsOverTheOneBesideTheProgram) {
    WriteFile(sandbox_ / "LocalAppData" / "Ostmere" / "Tavrin" / "Tavrin.ini", "ostmere");
    WriteFile(sandbox_ / "Program" / "Tavrin.ini", "program");
    EXPECT_EQ(ReadFile(SettingsFilePathFor(Locations())), "ostmere");
    EXPECT_TRUE(
        std::filesystem::exists(sandbox_ / "LocalAppData" / "Ostmere" / "Tavrin" / "Tavrin.ini"));
}

TEST_F(AppPathsTest, withoutLocalAppDataEverythingLivesBesideTheProgram) {
    const DataLocations locations{{}, sandbox_ / "Program", {}};
    EXPECT_EQ(AppDataDirectoryFor(locations), sandbox_ / "Program");
    EXPECT_EQ(SettingsFilePathFor(locations), sandbox_ / "Program" / "Tavrin.ini");
}

TEST_F(AppPathsTest, uncreatableDataFolderFallsBackToTheProgramFolder) {
    WriteFile(sandbox_ / "LocalAppData" / "Tavrin", "a file where the folder should be");
    EXPECT_EQ(AppDataDirectoryFor(Locations()), sandbox_ / "Program");
}

TEST_F(AppPathsTest, withoutAnyFolderTheSettingsFileIsRelative) {
    EXPECT_EQ(SettingsFilePathFor({}), std::filesystem::path("Tavrin.ini"));
}

TEST_F(AppPathsTest, dataDirectoryOverrideReplacesTheUserFolderAndTakesNothingFromIt) {
    WriteFile(sandbox_ / "LocalAppData" / "Ostmere" / "Tavrin" / "Tavrin.ini", "ostmere");
    WriteFile(sandbox_ / "LocalAppData" / "Tavrin" / "Tavrin.ini", "user");
    DataLocations locations = Locations();
    locations.dataDirectoryOverride = sandbox_ / "portable" / "data";
    EXPECT_EQ(AppDataDirectoryFor(locations), sandbox_ / "portable" / "data");
    const auto path = SettingsFilePathFor(locations);
    EXPECT_EQ(path, sandbox_ / "portable" / "data" / "Tavrin.ini");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(AppPathsTest, environmentVariableNamesTheDataFolder) {
    const test::ScopedEnvironment data("TAVRIN_DATA_DIR", sandbox_ / "env-data");
    EXPECT_EQ(SystemDataLocations().dataDirectoryOverride, sandbox_ / "env-data");
    EXPECT_EQ(AppDataDirectory(), sandbox_ / "env-data");
    EXPECT_EQ(SettingsFilePath(), sandbox_ / "env-data" / "Tavrin.ini");
}

TEST(SystemPathsTest, executableDirectoryHoldsThisTestProgram) {
    const auto folder = ExecutableDirectory();
    ASSERT_FALSE(folder.empty());
    EXPECT_TRUE(folder.is_absolute());
    EXPECT_TRUE(std::filesystem::exists(folder / "engine_tests") ||
                std::filesystem::exists(folder / "engine_tests.exe"))
        << folder.string();
}

TEST(SystemPathsTest, localAppDataIsAnAbsoluteFolder) {
    const auto folder = LocalAppDataDirectory();
    ASSERT_FALSE(folder.empty());
    EXPECT_TRUE(folder.is_absolute()) << folder.string();
}

TEST(SystemPathsTest, copyReplacesAnExistingFile) {
    Sandbox sandbox;
    WriteFile(sandbox / "from.ini", "new");
    WriteFile(sandbox / "to.ini", "old and longer");
    EXPECT_TRUE(CopyFileReplacing(sandbox / "from.ini", sandbox / "to.ini"));
    EXPECT_EQ(ReadFile(sandbox / "to.ini"), "new");
    EXPECT_FALSE(CopyFileReplacing(sandbox / "missing.ini", sandbox / "to2.ini"));
}

}  // namespace
}  // namespace tavrin
