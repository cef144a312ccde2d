#include "sync/path_safety.h"

#include <gtest/gtest.h>

#include <chrono>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/download.h"
#include "sync/path_status.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

class PathSafetyTest : public ::testing::Test {
protected:
    std::wstring Target() const { return PathToWide(sandbox_.Root()); }
    std::wstring Under(std::initializer_list<std::wstring_view> elements) const {
        std::wstring path = Target();
        for (const std::wstring_view element : elements) {
            path += kPathSeparator;
            path += element;
        }
        return path;
    }
    std::wstring Resolve(std::string_view serverPath) {
        std::wstring local = L"stale";
        std::wstring error;
        EXPECT_TRUE(ResolveServerPath(Target(), serverPath, local, error))
            << std::string(serverPath) << ": " << WideToUtf8(error);
        return local;
    }
    std::wstring Refusal(std::string_view serverPath) {
        std::wstring local = L"stale";
        std::wstring error;
        EXPECT_FALSE(ResolveServerPath(Target(), serverPath, local, error)) << serverPath;
        EXPECT_EQ(local, L"");
        return error;
    }
    // The run's form of the same rules, against the game folder held open.
    std::wstring TreeRefusal(std::string_view serverPath) {
        TargetTree tree;
        std::wstring error;
        EXPECT_TRUE(tree.Open(Target(), error)) << WideToUtf8(error);
        TreeFile file;
        EXPECT_FALSE(ResolveServerPathInTree(tree, serverPath, file, error)) << serverPath;
        return error;
    }
    static std::wstring WithPath(std::string_view key, std::string_view serverPath) {
        return FillPlaceholders(TrWide(key), {Utf8ToWide(serverPath)});
    }
    test::Sandbox sandbox_;
};

TEST_F(PathSafetyTest, plainPathResolvesUnderTheTarget) {
    EXPECT_EQ(Resolve("textures/car.dds"), Under({L"textures", L"car.dds"}));
    EXPECT_EQ(Resolve("textures//car.dds"), Under({L"textures", L"car.dds"}));
    EXPECT_EQ(Resolve("textures\\car.dds"), Under({L"textures", L"car.dds"}));
    EXPECT_EQ(Resolve("a/./b"), Under({L"a", L"b"}));
}

TEST_F(PathSafetyTest, targetWithBlanksAndTrailingSeparatorIsTrimmedAndNormalised) {
    std::wstring local;
    std::wstring error;
    ASSERT_TRUE(ResolveServerPath(L"  " + Target() + L"/ \r\n", "x.ini", local, error))
        << WideToUtf8(error);
    EXPECT_EQ(local, Under({L"x.ini"}));
}

TEST_F(PathSafetyTest, dotDotThatStaysInsideIsAcceptedAfterNormalising) {
    EXPECT_EQ(Resolve("a/../b.ini"), Under({L"b.ini"}));
}

TEST_F(PathSafetyTest, dotDotThatLeavesIsUnsafe) {
    EXPECT_EQ(Refusal("../b.ini"), WithPath("error.unsafe_server_file_path", "../b.ini"));
    EXPECT_EQ(Refusal("a/../../b.ini"), WithPath("error.unsafe_server_file_path", "a/../../b.ini"));
    EXPECT_EQ(Refusal("..\\b.ini"), WithPath("error.unsafe_server_file_path", "..\\b.ini"));
}

TEST_F(PathSafetyTest, absolutePathsAreRefused) {
    for (const char* path : {"/cars/x.kn5", "\\cars\\x.kn5", "\\\\server\\share\\x.kn5",
                             "//server/share/x.kn5", "C:x.kn5", "C:\\x.kn5", "x.kn5:stream"}) {
        EXPECT_EQ(Refusal(path), WithPath("error.absolute_server_file_path", path)) << path;
    }
}

TEST_F(PathSafetyTest, trailingSeparatorIsUnsafeAndEmptyIsEmpty) {
    EXPECT_EQ(Refusal("cars/"), WithPath("error.unsafe_server_file_path", "cars/"));
    EXPECT_EQ(Refusal(""), TrWide("error.empty_server_file_path"));
    EXPECT_EQ(Refusal("./"), WithPath("error.unsafe_server_file_path", "./"));
    EXPECT_EQ(Resolve("   "), Under({L"   "}));
}

TEST_F(PathSafetyTest, executableTypesAreBlocked) {
    for (const char* path : {"apps/run.EXE", "apps/run.exe.", "apps/run.exe ", "lib/x.psm1",
                             "x.dll", "a/b.Bat", "s.vbs . ."}) {
        EXPECT_EQ(Refusal(path), WithPath("error.blocked_executable_type", path)) << path;
    }
    EXPECT_EQ(Resolve("apps/.exe"), Under({L"apps", L".exe"}));
    EXPECT_EQ(Resolve("apps/run.exe.bak"), Under({L"apps", L"run.exe.bak"}));
}

TEST_F(PathSafetyTest, theClientsOwnTemporarySuffixIsRefused) {
    EXPECT_EQ(Refusal("cars/x.kn5.tavrin_tmp"),
              WithPath("error.unsafe_server_file_path", "cars/x.kn5.tavrin_tmp"));
}

TEST_F(PathSafetyTest, temporarySuffixFollowedByDotsOrSpacesIsRefusedToo) {
    // Windows drops trailing dots and spaces: these names become a temporary file's name.
    for (const char* path : {"x.kn5.tavrin_tmp.", "x.kn5.TAVRIN_TMP . "}) {
        EXPECT_EQ(Refusal(path), WithPath("error.unsafe_server_file_path", path)) << path;
    }
}

TEST_F(PathSafetyTest, temporarySuffixOnAFolderIsRefusedToo) {
    // A folder of that name would take the temporary name of the file "cars/x.kn5".
    EXPECT_EQ(Refusal("cars/x.kn5.tavrin_tmp/y.ini"),
              WithPath("error.unsafe_server_file_path", "cars/x.kn5.tavrin_tmp/y.ini"));
}

TEST_F(PathSafetyTest, nulInsideAPathIsUnsafeWhereverItStands) {
    // The system calls would stop at the NUL and create "evil.exe".
    for (const std::string& path : {std::string("evil.exe\0.dds", 13), std::string("a\0/b.ini", 8),
                                    std::string("\0", 1), std::string("x.dds\0", 6)}) {
        const std::wstring expected =
            FillPlaceholders(TrWide("error.unsafe_server_file_path"), {Utf8ToWide(path)});
        EXPECT_EQ(Refusal(path), expected);
        EXPECT_EQ(TreeRefusal(path), expected);
    }
}

TEST_F(PathSafetyTest, reservedDeviceNamesAreUnsafe) {
    for (const char* path :
         {"con", "CON.txt", "sfx/aux.wav", "nul", "Prn.ini", "com1.dds", "LPT9", "nul.tar.gz",
          "con . ", "con/x.ini", "com0", "LPT0.log", "com\u00b9.txt", "lpt\u00b3"}) {
        EXPECT_EQ(Refusal(path), WithPath("error.unsafe_server_file_path", path)) << path;
        EXPECT_EQ(TreeRefusal(path), WithPath("error.unsafe_server_file_path", path)) << path;
    }
    for (const char* path :
         {"console.ini", "com10.dds", "aux_track.wav", "lpt.txt", "nulls", "a.con"}) {
        Resolve(path);
    }
}

TEST_F(PathSafetyTest, namesAndPathsLongerThanTheFileSystemHoldsAreUnsafe) {
    // The limits count the temporary name the run needs beside the file.
    const std::size_t suffix = std::wstring_view(kTemporaryFileSuffix).size();
    const std::string longest(kMostNameUnits - suffix, 'n');
    Resolve(longest);
    Resolve("folder" + std::string(kMostNameUnits - 6, 'f') + "/x.ini");
    const std::string tooLong = longest + "n";
    EXPECT_EQ(Refusal(tooLong), WithPath("error.unsafe_server_file_path", tooLong));
    const std::string folderTooLong = std::string(kMostNameUnits + 1, 'f') + "/x.ini";
    EXPECT_EQ(Refusal(folderTooLong), WithPath("error.unsafe_server_file_path", folderTooLong));
    EXPECT_EQ(TreeRefusal(folderTooLong), WithPath("error.unsafe_server_file_path", folderTooLong));
    // A whole path: as many 100-unit folders as fit, then one more.
    std::string deep;
    while (NativeLength(Target() + Utf8ToWide(deep)) + 101 + 6 + suffix <= kMostPathUnits) {
        deep += std::string(100, 'd') + "/";
    }
    Resolve(deep + "x.ini");
    const std::string tooDeep = deep + std::string(100, 'd') + "/x.ini";
    EXPECT_EQ(Refusal(tooDeep), WithPath("error.unsafe_server_file_path", tooDeep));
}

TEST_F(PathSafetyTest, hugePathsCostTimeLinearInTheirLength) {
    // 200,000 pairs of "a/.." fold away to "b.ini"; 500,000 levels are refused. Either takes
    // milliseconds; a quadratic walk would take minutes.
    std::string folding;
    for (int i = 0; i < 200000; ++i) {
        folding += "a/../";
    }
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(Resolve(folding + "b.ini"), Under({L"b.ini"}));
    std::string deep;
    for (int i = 0; i < 500000; ++i) {
        deep += "a/";
    }
    deep += "x";
    EXPECT_EQ(Refusal(deep), WithPath("error.unsafe_server_file_path", deep));
    EXPECT_EQ(TreeRefusal(deep), WithPath("error.unsafe_server_file_path", deep));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
}

TEST_F(PathSafetyTest, theRunsFormGivesTheSameVerdicts) {
    for (const char* path : {"../b.ini", "/cars/x.kn5", "C:x.kn5", "cars/", "apps/run.exe.",
                             "x.kn5.tavrin_tmp", "a/../../b.ini"}) {
        EXPECT_EQ(TreeRefusal(path), Refusal(path)) << path;
    }
    EXPECT_EQ(TreeRefusal(""), TrWide("error.empty_server_file_path"));
}

TEST_F(PathSafetyTest, missingOrFileTargetIsInvalid) {
    std::wstring local;
    std::wstring error;
    EXPECT_FALSE(ResolveServerPath(Under({L"missing"}), "a.txt", local, error));
    EXPECT_EQ(error, TrWide("error.invalid_target_folder"));
    test::WriteFile(sandbox_ / "file", "x");
    EXPECT_FALSE(ResolveServerPath(Under({L"file"}), "a.txt", local, error));
    EXPECT_EQ(error, TrWide("error.invalid_target_folder"));
    EXPECT_FALSE(ResolveServerPath(L" \t", "a.txt", local, error));
    EXPECT_EQ(error, TrWide("error.invalid_target_folder"));
}

TEST(PathRulesTest, blockedTypesFollowWindowsNameRules) {
    EXPECT_TRUE(IsBlockedExecutableType(L"a\\run.exe"));
    EXPECT_TRUE(IsBlockedExecutableType(L"run.exe. . "));
    EXPECT_FALSE(IsBlockedExecutableType(L".bat"));
    EXPECT_FALSE(IsBlockedExecutableType(L"a/.bat"));
    EXPECT_FALSE(IsBlockedExecutableType(L"..."));
    EXPECT_FALSE(IsBlockedExecutableType(L"x"));
    EXPECT_FALSE(IsBlockedExecutableType(L"run.exe.txt"));
    EXPECT_FALSE(IsBlockedExecutableType(L"run.exee"));
    EXPECT_TRUE(IsBlockedExecutableType(L"a.JSE"));
}

TEST(PathRulesTest, withinComparesWholeElements) {
    const std::wstring sep(1, kPathSeparator);
    const std::wstring base = sep + L"Games" + sep + L"ac";
    EXPECT_FALSE(IsPathWithin(base, sep + L"Games" + sep + L"ac2" + sep + L"x"));
    EXPECT_TRUE(IsPathWithin(base, base + sep + L"x"));
    EXPECT_TRUE(IsPathWithin(base, base));
    EXPECT_TRUE(IsPathWithin(base + sep, base + sep + L"x"));
    EXPECT_FALSE(IsPathWithin(base, sep + L"Games" + sep + L"a"));
    EXPECT_FALSE(IsPathWithin(L"", base));
    EXPECT_FALSE(IsPathWithin(base, base + sep + L".." + sep + L"b"));
}

TEST(PathRulesTest, normalFormFoldsSeparatorsAndDots) {
    const std::wstring sep(1, kPathSeparator);
    EXPECT_EQ(NormalizePath(L"a//b/./c/../d"), L"a" + sep + L"b" + sep + L"d");
    EXPECT_EQ(NormalizePath(L"a\\b"), L"a" + sep + L"b");
    EXPECT_EQ(NormalizePath(L"../x"), L".." + sep + L"x");
    EXPECT_EQ(NormalizePath(L""), L"");
}

TEST_F(PathSafetyTest, gameFolderNeedsTheProgramFileAndContentFolder) {
    EXPECT_FALSE(IsGameFolder(Target()));
    test::WriteFile(sandbox_ / "AssettoCorsa.exe", "MZ");
    EXPECT_FALSE(IsGameFolder(Target()));  // no "content"
    std::filesystem::create_directories(sandbox_ / "content");
    EXPECT_TRUE(IsGameFolder(Target()));
    EXPECT_FALSE(IsGameFolder(Under({L"missing"})));
}

TEST_F(PathSafetyTest, folderNamedLikeTheProgramIsNoGameFolder) {
    std::filesystem::create_directories(sandbox_ / "AssettoCorsa.exe");
    std::filesystem::create_directories(sandbox_ / "content");
    EXPECT_FALSE(IsGameFolder(Target()));
}

TEST_F(PathSafetyTest, contentThatIsAFileIsNoGameFolder) {
    test::WriteFile(sandbox_ / "AssettoCorsa.exe", "MZ");
    test::WriteFile(sandbox_ / "content", "not a folder");
    EXPECT_FALSE(IsGameFolder(Target()));
}

}  // namespace
}  // namespace tavrin

namespace tavrin {
namespace {

TEST(TreeResolutionTest, foldersAreOpenedOnceAndFilesLandWhereThePathFormSays) {
    test::Sandbox sandbox;
    std::filesystem::create_directories(sandbox / "game" / "content" / "cars");
    const std::wstring target = PathToWide(sandbox / "game");
    TargetTree tree;
    std::wstring error;
    ASSERT_TRUE(tree.Open(target, error)) << WideToUtf8(error);
    TreeFile first;
    TreeFile second;
    ASSERT_TRUE(ResolveServerPathInTree(tree, "content/cars/a.kn5", first, error));
    ASSERT_TRUE(ResolveServerPathInTree(tree, "content\\cars//b.kn5", second, error));
    EXPECT_EQ(first.folder, second.folder);
    EXPECT_EQ(first.leaf, "a.kn5");
    EXPECT_EQ(second.leaf, "b.kn5");
    EXPECT_EQ(tree.FolderCount(), 3U);      // the game folder, content, content/cars
    EXPECT_EQ(tree.OpenFolderCount(), 2U);  // each opened once, below the game folder
    std::wstring plain;
    ASSERT_TRUE(ResolveServerPath(target, "content/cars/b.kn5", plain, error));
    EXPECT_EQ(tree.LocalPath(second.folder, second.leaf), plain);
}

TEST(TreeResolutionTest, openFoldersStayWithinTheBoundAndFailedOpensAddNone) {
    test::Sandbox sandbox;
    for (int i = 0; i < 20; ++i) {
        std::filesystem::create_directories(sandbox / "game" / ("f" + std::to_string(i)) / "in");
    }
    TargetTree tree;
    tree.SetMostOpenFolders(4);
    std::wstring error;
    ASSERT_TRUE(tree.Open(PathToWide(sandbox / "game"), error));
    for (int i = 0; i < 20; ++i) {
        const std::uint32_t folder =
            tree.Child(tree.Child(TargetTree::kTop, "f" + std::to_string(i)), "in");
        std::shared_ptr<const NativeHandle> handle;
        ASSERT_EQ(tree.OpenFolder(folder, false, handle).outcome, FolderOutcome::kOpened);
        const std::uint32_t missing = tree.Child(folder, "missing");
        std::shared_ptr<const NativeHandle> none;
        EXPECT_EQ(tree.OpenFolder(missing, false, none).outcome, FolderOutcome::kAbsent);
        EXPECT_LE(tree.OpenFolderCount(), 4U);
    }
    // One in use stays open beyond the bound, and is still the right folder.
    std::shared_ptr<const NativeHandle> held;
    const std::uint32_t first = tree.Child(tree.Child(TargetTree::kTop, "f0"), "in");
    ASSERT_EQ(tree.OpenFolder(first, true, held).outcome, FolderOutcome::kOpened);
    TreeFile file;
    ASSERT_TRUE(ResolveServerPathInTree(tree, "f0/in/x.ini", file, error));
    EXPECT_EQ(file.folder, first);
}

TEST(TreeResolutionTest, missingFoldersAreRegisteredButNotOpened) {
    test::Sandbox sandbox;
    std::filesystem::create_directories(sandbox / "game");
    TargetTree tree;
    std::wstring error;
    ASSERT_TRUE(tree.Open(PathToWide(sandbox / "game"), error));
    TreeFile file;
    ASSERT_TRUE(ResolveServerPathInTree(tree, "new/deeper/x.ini", file, error));
    EXPECT_EQ(tree.FolderCount(), 3U);
    EXPECT_EQ(tree.OpenFolderCount(), 0U);
    EXPECT_FALSE(std::filesystem::exists(sandbox / "game" / "new"));  // nothing made yet
}

}  // namespace
}  // namespace tavrin
