#include "sync/game_process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "i18n/utf8_conversion.h"
#include "tests/support/child_program.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

// Polls for up to five seconds: a process just started or ended shows in the list a moment
// later.
bool BecomesRunning(const std::filesystem::path& folder, bool expected) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (IsGameRunning(PathToWide(folder)) != expected) {
        if (std::chrono::steady_clock::now() > until) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

class GameProcessTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directories(game_ / "bin");
        copy_ = game_ / "bin" / test::IdleProgram().filename();
        std::filesystem::copy_file(test::IdleProgram(), copy_);
    }

    test::Sandbox sandbox_;
    std::filesystem::path game_ = sandbox_ / "game";
    std::filesystem::path copy_;
};

TEST_F(GameProcessTest, aProgramStartedFromInsideTheGameFolderIsTheGameUntilItEnds) {
    EXPECT_FALSE(IsGameRunning(PathToWide(game_)));
    test::ChildProgram game;
    ASSERT_TRUE(game.Start(copy_, {"60"}));
    EXPECT_TRUE(BecomesRunning(game_, true));
    EXPECT_FALSE(IsGameRunning(PathToWide(sandbox_ / "other")));
    game.Stop();
    EXPECT_TRUE(BecomesRunning(game_, false));
}

TEST_F(GameProcessTest, theSameProgramStartedElsewhereIsNot) {
    test::ChildProgram elsewhere;
    ASSERT_TRUE(elsewhere.Start(test::IdleProgram(), {"60"}));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(IsGameRunning(PathToWide(game_)));
}

// Under Proton the game's process is Wine's; its command line names the game in Windows form.
TEST_F(GameProcessTest, aWindowsPathInsideTheGameFolderOnACommandLineIsTheGameUnderProton) {
#ifdef _WIN32
    GTEST_SKIP() << "Proton runs on Linux: the Windows build asks each process for its image";
#endif
    std::string windowsForm = "Z:" + PathToUtf8(game_ / "AssettoCorsa.exe");
    for (char& c : windowsForm) {
        c = c == '/' ? '\\' : c;
    }
    test::ChildProgram wine;
    ASSERT_TRUE(wine.Start(test::IdleProgram(), {"60", windowsForm}));
    EXPECT_TRUE(BecomesRunning(game_, true));
    wine.Stop();
    EXPECT_TRUE(BecomesRunning(game_, false));
}

TEST(LinuxPathOfDriveZTest, onlyPathsOnDriveZBecomeLinuxPaths) {
    EXPECT_EQ(LinuxPathOfDriveZ("Z:\\home\\p\\ac\\acs.exe"), L"/home/p/ac/acs.exe");
    EXPECT_EQ(LinuxPathOfDriveZ("z:/games/ac"), L"/games/ac");
    EXPECT_EQ(LinuxPathOfDriveZ("C:\\windows\\system32\\steam.exe"), L"");
    EXPECT_EQ(LinuxPathOfDriveZ("Z:"), L"");
    EXPECT_EQ(LinuxPathOfDriveZ("-dx11"), L"");
}

}  // namespace
}  // namespace tavrin
