// Windows only: share modes. A file held open without sharing cannot be replaced, and cannot
// be hashed.
#include <windows.h>

#include <gtest/gtest.h>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/compare.h"
#include "sync/download.h"
#include "sync/path_safety.h"
#include "tests/support/download_rig.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

struct HeldOpen {
    HANDLE handle = INVALID_HANDLE_VALUE;
    explicit HeldOpen(const std::wstring& path) {
        handle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
    }
    ~HeldOpen() {
        if (handle != INVALID_HANDLE_VALUE) {
            CloseHandle(handle);
        }
    }
};

TEST(DownloadShareTest, targetOpenWithoutSharingRefusesTheMoveAndTheOldFileStays) {
    test::Sandbox sandbox;
    test::WriteFile(sandbox / "a.txt", "old");
    HeldOpen held(PathToWide(sandbox / "a.txt"));
    ASSERT_NE(held.handle, INVALID_HANDLE_VALUE);
    test::DownloadRig rig(sandbox.Root());
    ASSERT_TRUE(rig.opened);
    rig.content.AddFile("p", "a.txt", "new");
    const SyncWorkItem item{
        "p", {"a.txt", 3, 0, test::ContentServer::Sha256Hex("new")}, {TargetTree::kTop, "a.txt"}};
    std::wstring error;
    EXPECT_FALSE(rig.Download(item, error));
    EXPECT_EQ(error.rfind(TrWide("error.atomic_replace_failed") + L" (", 0), 0U)
        << WideToUtf8(error);
    EXPECT_EQ(rig.content.DownloadRequestsFor("p", "a.txt"), 3);
    CloseHandle(held.handle);
    held.handle = INVALID_HANDLE_VALUE;
    EXPECT_EQ(test::ReadFile(sandbox / "a.txt"), "old");
    EXPECT_FALSE(std::filesystem::exists(sandbox / "a.txt.tavrin_tmp"));
}

TEST(DownloadNameTest, trailingDotsAndSpacesAreDroppedAsWindowsDropsThem) {
    // Files are created relative to their folder through the NT calls, which keep such names
    // as written; the file must get the name every path check saw: "data.ini".
    test::Sandbox sandbox;
    test::DownloadRig rig(sandbox.Root());
    ASSERT_TRUE(rig.opened);
    rig.content.AddFile("p", "data.ini. ", "abc");
    SyncWorkItem item{"p", {"data.ini. ", 3, 0, test::ContentServer::Sha256Hex("abc")}, {}};
    std::wstring error;
    ASSERT_TRUE(ResolveServerPathInTree(rig.tree, item.record.relativePath, item.local, error));
    EXPECT_TRUE(rig.Download(item, error)) << WideToUtf8(error);
    EXPECT_EQ(test::ReadFile(sandbox / "data.ini"), "abc");
    std::size_t entries = 0;
    for (const auto& entry : std::filesystem::directory_iterator(sandbox.Root())) {
        entries += entry.path().filename() == L"data.ini" ? 1 : 10;
    }
    EXPECT_EQ(entries, 1U);  // nothing else, no temporary file
}

TEST(CompareShareTest, fileLockedForReadingIsDownloadedAgainWithAWarning) {
    test::Sandbox sandbox;
    test::WriteFile(sandbox / "a.txt", "abc");
    const std::wstring local = PathToWide(sandbox / "a.txt");
    HeldOpen held(local);
    ASSERT_NE(held.handle, INVALID_HANDLE_VALUE);
    TargetTree tree;
    std::wstring warning;
    ASSERT_TRUE(tree.Open(PathToWide(sandbox.Root()), warning));
    EXPECT_TRUE(NeedsDownload({"a.txt", 3, 0, test::ContentServer::Sha256Hex("abc")}, tree,
                              {TargetTree::kTop, "a.txt"}, nullptr, warning));
    EXPECT_EQ(warning, FillPlaceholders(TrWide("warning.hash_compare_not_possible"), {local}));
}

}  // namespace
}  // namespace tavrin
