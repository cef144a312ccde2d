#include "discovery/steam_discovery.h"

#include <gtest/gtest.h>

#include "i18n/utf8_conversion.h"
#include "sync/path_status.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

// Fake Steam installations in a sandbox.
class SteamDiscoveryTest : public ::testing::Test {
protected:
    std::wstring Folder(std::string_view relative) const {
        return PathToWide(sandbox_ / test::Utf8Path(relative));
    }
    void MakeGame(std::string_view relative) {
        std::filesystem::create_directories(sandbox_ / test::Utf8Path(relative) / "content");
        test::WriteFile(sandbox_ / test::Utf8Path(relative) / "AssettoCorsa.exe", "MZ");
    }
    static std::string VdfPath(const std::wstring& folder) {
        std::string text = WideToUtf8(folder);
        std::string escaped;
        for (const char c : text) {
            escaped += c;
            if (c == '\\') {
                escaped += '\\';  // Steam writes Windows paths with doubled backslashes
            }
        }
        return escaped;
    }
    test::Sandbox sandbox_;
};

TEST_F(SteamDiscoveryTest, vdfTokensAreTheQuotedStringsInOrder) {
    test::WriteFile(sandbox_ / "a.vdf",
                    "\"libraryfolders\"\n{\n\t\"0\"\n\t{\n\t\t\"path\"\t\t\"X\"\n\t}\n}\n");
    EXPECT_EQ(ReadVdfTokens(Folder("a.vdf")),
              (std::vector<std::string>{"libraryfolders", "0", "path", "X"}));
    EXPECT_EQ(ReadVdfValue(Folder("a.vdf"), "PATH"), "X");
    EXPECT_FALSE(ReadVdfValue(Folder("a.vdf"), "installdir").has_value());
    EXPECT_TRUE(ReadVdfTokens(Folder("missing.vdf")).empty());
}

TEST_F(SteamDiscoveryTest, gameInTheStandardFolderOfTheRootIsFound) {
    MakeGame("steam/steamapps/common/assettocorsa");
    EXPECT_EQ(FindGameFolderInSteamRoots({Folder("steam")}),
              Folder("steam/steamapps/common/assettocorsa"));
}

TEST_F(SteamDiscoveryTest, libraryListedInTheLibraryFileIsSearched) {
    MakeGame("games/lib2/steamapps/common/assettocorsa");
    test::WriteFile(sandbox_ / "steam" / "steamapps" / "libraryfolders.vdf",
                    "\"libraryfolders\" { \"0\" { \"path\" \"" + VdfPath(Folder("steam")) +
                        "\" } \"1\" { \"path\" \"" + VdfPath(Folder("games/lib2")) + "\" } }");
    const std::vector<std::wstring> libraries = SteamLibraries({Folder("steam")});
    // The Steam folder itself is listed in the file too, but counted once.
    EXPECT_EQ(libraries, (std::vector<std::wstring>{Folder("steam"), Folder("games/lib2")}));
    EXPECT_EQ(FindGameFolderInSteamRoots({Folder("steam")}),
              Folder("games/lib2/steamapps/common/assettocorsa"));
}

TEST_F(SteamDiscoveryTest, appManifestFolderIsTriedFirstThenTheStandardName) {
    MakeGame("steam/steamapps/common/Assetto Corsa Custom");
    MakeGame("steam/steamapps/common/assettocorsa");
    test::WriteFile(
        sandbox_ / "steam" / "steamapps" / "appmanifest_244210.acf",
        "\"AppState\" { \"appid\" \"244210\" \"InstallDir\" \"Assetto Corsa Custom\" }");
    EXPECT_EQ(FindGameFolderInSteamRoots({Folder("steam")}),
              Folder("steam/steamapps/common/Assetto Corsa Custom"));
}

TEST_F(SteamDiscoveryTest, folderWithoutContentIsPassedOver) {
    std::filesystem::create_directories(sandbox_ / "steam" / "steamapps" / "common" /
                                        "assettocorsa");
    test::WriteFile(
        sandbox_ / "steam" / "steamapps" / "common" / "assettocorsa" / "AssettoCorsa.exe", "MZ");
    MakeGame("other/steamapps/common/assettocorsa");
    EXPECT_EQ(FindGameFolderInSteamRoots({Folder("steam"), Folder("other")}),
              Folder("other/steamapps/common/assettocorsa"));
}

TEST_F(SteamDiscoveryTest, nothingFoundGivesNothing) {
    EXPECT_FALSE(FindGameFolderInSteamRoots({Folder("steam"), Folder("missing")}).has_value());
    EXPECT_FALSE(FindGameFolderInSteamRoots({}).has_value());
}

TEST(SteamRootsTest, duplicatesAreSkipped) {
    std::vector<std::wstring> roots;
    AddUnique(roots, L"a");
    AddUnique(roots, L"");
    AddUnique(roots, L"a");
    AddUnique(roots, L"b");
    EXPECT_EQ(roots, (std::vector<std::wstring>{L"a", L"b"}));
}

}  // namespace
}  // namespace tavrin
