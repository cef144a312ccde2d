// Linux only: symbolic links stand for Windows' links and junctions. A link anywhere between
// the game folder and a file refuses the file, and with it the project.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/path_safety.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

std::wstring Blocked(std::string_view path) {
    return FillPlaceholders(TrWide("error.file_path_left_target_blocked"), {Utf8ToWide(path)});
}

TEST(PathLinksTest, linkedFolderOnTheWayRefusesTheFile) {
    test::Sandbox sandbox;
    std::filesystem::create_directories(sandbox / "game" / "content");
    std::filesystem::create_directories(sandbox / "outside");
    std::filesystem::create_directory_symlink(sandbox / "outside",
                                              sandbox / "game" / "content" / "cars");
    std::wstring local;
    std::wstring error;
    EXPECT_FALSE(
        ResolveServerPath(PathToWide(sandbox / "game"), "content/cars/x.kn5", local, error));
    EXPECT_EQ(error, Blocked("content/cars/x.kn5"));
    EXPECT_TRUE(local.empty());
}

TEST(PathLinksTest, linkAtTheFileItselfRefusesIt) {
    test::Sandbox sandbox;
    std::filesystem::create_directories(sandbox / "game");
    test::WriteFile(sandbox / "secret.txt", "x");
    std::filesystem::create_symlink(sandbox / "secret.txt", sandbox / "game" / "a.txt");
    std::wstring local;
    std::wstring error;
    EXPECT_FALSE(ResolveServerPath(PathToWide(sandbox / "game"), "a.txt", local, error));
    EXPECT_EQ(error, Blocked("a.txt"));
}

TEST(PathLinksTest, targetThatIsALinkIsInvalid) {
    test::Sandbox sandbox;
    std::filesystem::create_directories(sandbox / "real");
    std::filesystem::create_directory_symlink(sandbox / "real", sandbox / "game");
    std::wstring local;
    std::wstring error;
    EXPECT_FALSE(ResolveServerPath(PathToWide(sandbox / "game"), "a.txt", local, error));
    EXPECT_EQ(error, TrWide("error.invalid_target_folder"));
}

TEST(PathLinksTest, targetThatIsALinkIsInvalidEvenWithATrailingSeparator) {
    // "game/" would make the system follow the link standing at "game".
    test::Sandbox sandbox;
    std::filesystem::create_directories(sandbox / "real");
    std::filesystem::create_directory_symlink(sandbox / "real", sandbox / "game");
    const std::wstring target = PathToWide(sandbox / "game") + L"/";
    std::wstring local;
    std::wstring error;
    EXPECT_FALSE(ResolveServerPath(target, "a.txt", local, error));
    EXPECT_EQ(error, TrWide("error.invalid_target_folder"));
    TargetTree tree;
    EXPECT_FALSE(tree.Open(target, error));
    EXPECT_EQ(error, TrWide("error.invalid_target_folder"));
    EXPECT_FALSE(tree.Open(PathToWide(sandbox / "game") + L"//", error));
}

TEST(PathLinksTest, linkedProgramOrContentMakesNoGameFolder) {
    test::Sandbox sandbox;
    test::WriteFile(sandbox / "elsewhere.exe", "MZ");
    std::filesystem::create_directories(sandbox / "game" / "content");
    std::filesystem::create_symlink(sandbox / "elsewhere.exe",
                                    sandbox / "game" / "AssettoCorsa.exe");
    EXPECT_FALSE(IsGameFolder(PathToWide(sandbox / "game")));
    std::filesystem::remove(sandbox / "game" / "AssettoCorsa.exe");
    test::WriteFile(sandbox / "game" / "AssettoCorsa.exe", "MZ");
    EXPECT_TRUE(IsGameFolder(PathToWide(sandbox / "game")));
    std::filesystem::remove(sandbox / "game" / "content");
    std::filesystem::create_directories(sandbox / "other");
    std::filesystem::create_directory_symlink(sandbox / "other", sandbox / "game" / "content");
    EXPECT_FALSE(IsGameFolder(PathToWide(sandbox / "game")));
}

TEST(PathLinksTest, unreadableFolderOnTheWayIsReportedWithItsCode) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "running as root: permission bits do not stop root from reading";
    }
    test::Sandbox sandbox;
    std::filesystem::create_directories(sandbox / "game" / "locked" / "inner");
    std::filesystem::permissions(sandbox / "game" / "locked", std::filesystem::perms::none);
    std::wstring local;
    std::wstring error;
    EXPECT_FALSE(ResolveServerPath(PathToWide(sandbox / "game"), "locked/inner/x", local, error));
    std::filesystem::permissions(sandbox / "game" / "locked", std::filesystem::perms::owner_all);
    EXPECT_EQ(error.rfind(TrWide("error.file_path_left_target_blocked") + L" (13)", 0), 0U);
}

}  // namespace
}  // namespace tavrin
