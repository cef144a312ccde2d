// Windows only: the folders a run holds are opened without delete sharing, so while the run
// works in them nobody can rename them or put a junction in their place. (The races with
// real links run natively on Linux: Wine cannot make links or junctions.)
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "i18n/utf8_conversion.h"
#include "sync/target_tree.h"
#include "tests/support/sandbox.h"
#include "tests/support/wine.h"

namespace tavrin {
namespace {

struct Move {
    bool moved = false;
    DWORD code = 0;
};

Move TryMove(const std::filesystem::path& from, const std::filesystem::path& to) {
    Move move;
    move.moved = MoveFileExW(from.c_str(), to.c_str(), 0) != FALSE;
    move.code = GetLastError();
    if (move.moved) {
        MoveFileExW(to.c_str(), from.c_str(), 0);  // put it back for the next check
    }
    return move;
}

TEST(HeldFolderTest, foldersHeldByARunCannotBeRenamedAway) {
    test::Sandbox sandbox;
    std::filesystem::create_directories(sandbox / "game" / "content" / "cars");
    auto tree = std::make_unique<TargetTree>();
    std::wstring error;
    ASSERT_TRUE(tree->Open(PathToWide(sandbox / "game"), error)) << WideToUtf8(error);
    const std::uint32_t cars = tree->Child(tree->Child(TargetTree::kTop, "content"), "cars");
    std::shared_ptr<const NativeHandle> held;
    ASSERT_EQ(tree->OpenFolder(cars, false, held).outcome, FolderOutcome::kOpened);

    const Move folder = TryMove(sandbox / "game" / "content" / "cars", sandbox / "aside");
    const Move game = TryMove(sandbox / "game", sandbox / "game-aside");
    if (test::RunningUnderWine() && (folder.moved || game.moved)) {
        GTEST_SKIP() << "Wine renames a folder that is open without FILE_SHARE_DELETE (Windows "
                        "refuses with a sharing violation); the files still go to the folders "
                        "the run opened, as the Linux races show";
    }
    EXPECT_FALSE(folder.moved);
    EXPECT_TRUE(folder.code == ERROR_SHARING_VIOLATION || folder.code == ERROR_ACCESS_DENIED)
        << folder.code;
    EXPECT_FALSE(game.moved);

    // Once the run lets go, the folders are the user's again.
    held.reset();
    tree.reset();
    EXPECT_TRUE(TryMove(sandbox / "game" / "content" / "cars", sandbox / "aside").moved);
}

}  // namespace
}  // namespace tavrin
