// Linux only: Steam's folders under the home folder, links resolved.
#include <gtest/gtest.h>

#include "discovery/steam_discovery.h"
#include "i18n/utf8_conversion.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

TEST(SteamRootsPosixTest, homeFoldersInOrderWithLinksResolved) {
    test::Sandbox sandbox;
    const test::ScopedEnvironment home("HOME", sandbox.Root());
    std::filesystem::create_directories(sandbox / ".local" / "share" / "Steam" / "steamapps" /
                                        "common" / "assettocorsa" / "content");
    test::WriteFile(sandbox / ".local" / "share" / "Steam" / "steamapps" / "common" /
                        "assettocorsa" / "AssettoCorsa.exe",
                    "MZ");
    std::filesystem::create_directories(sandbox / ".steam");
    std::filesystem::create_directory_symlink(sandbox / ".local" / "share" / "Steam",
                                              sandbox / ".steam" / "steam");
    const std::vector<std::wstring> roots = SteamRoots();
    ASSERT_EQ(roots.size(), 3U);  // the link and its target are one root
    EXPECT_EQ(roots[0], PathToWide(sandbox / ".local" / "share" / "Steam"));
    EXPECT_EQ(roots[1], PathToWide(sandbox / ".steam" / "root"));
    EXPECT_EQ(FindGameFolderViaSteam(), PathToWide(sandbox / ".local" / "share" / "Steam" /
                                                   "steamapps" / "common" / "assettocorsa"));
}

}  // namespace
}  // namespace tavrin
