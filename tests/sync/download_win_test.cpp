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
#include "tests/support/content_server.h"
#include "tests/support/http_fixture.h"

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
    const bool previous = plainHttpAllowed.exchange(true);
    test::Sandbox sandbox;
    test::ContentServer content;
    content.AddFile("p", "a.txt", "new");
    test::WriteFile(sandbox / "a.txt", "old");
    const std::wstring local = PathToWide(sandbox / "a.txt");
    HeldOpen held(local);
    ASSERT_NE(held.handle, INVALID_HANDLE_VALUE);

    DownloadContext context;
    context.endpoint = {kSchemeHttp, L"127.0.0.1", content.Http().Port(), L""};
    HttpSession session;
    session.endpoint = context.endpoint;
    std::wstring error;
    ASSERT_TRUE(OpenHttpSession(session, error, kDownloadTimeouts));
    TargetTree tree;
    ASSERT_TRUE(tree.Open(PathToWide(sandbox.Root()), error));
    context.tree = &tree;
    SyncWorkItem item{
        "p", {"a.txt", 3, 0, test::ContentServer::Sha256Hex("new")}, {TargetTree::kTop, "a.txt"}};
    std::uint64_t bytes = 0;
    EXPECT_FALSE(DownloadFile(item, context, session, error, bytes));
    EXPECT_EQ(error.rfind(TrWide("error.atomic_replace_failed") + L" (", 0), 0U)
        << WideToUtf8(error);
    EXPECT_EQ(content.DownloadRequestsFor("p", "a.txt"), 3);
    CloseHandle(held.handle);
    held.handle = INVALID_HANDLE_VALUE;
    EXPECT_EQ(test::ReadFile(sandbox / "a.txt"), "old");
    EXPECT_FALSE(std::filesystem::exists(sandbox / "a.txt.tavrin_tmp"));
    plainHttpAllowed = previous;
}

TEST(DownloadNameTest, trailingDotsAndSpacesAreDroppedAsWindowsDropsThem) {
    // Files are created relative to their folder through the NT calls, which keep such names
    // as written; the file must get the name every path check saw: "data.ini".
    const bool previous = plainHttpAllowed.exchange(true);
    test::Sandbox sandbox;
    test::ContentServer content;
    content.AddFile("p", "data.ini. ", "abc");
    DownloadContext context;
    context.endpoint = {kSchemeHttp, L"127.0.0.1", content.Http().Port(), L""};
    HttpSession session;
    session.endpoint = context.endpoint;
    std::wstring error;
    ASSERT_TRUE(OpenHttpSession(session, error, kDownloadTimeouts));
    TargetTree tree;
    ASSERT_TRUE(tree.Open(PathToWide(sandbox.Root()), error));
    context.tree = &tree;
    SyncWorkItem item{"p", {"data.ini. ", 3, 0, test::ContentServer::Sha256Hex("abc")}, {}};
    ASSERT_TRUE(ResolveServerPathInTree(tree, item.record.relativePath, item.local, error));
    std::uint64_t bytes = 0;
    EXPECT_TRUE(DownloadFile(item, context, session, error, bytes)) << WideToUtf8(error);
    EXPECT_EQ(test::ReadFile(sandbox / "data.ini"), "abc");
    std::size_t entries = 0;
    for (const auto& entry : std::filesystem::directory_iterator(sandbox.Root())) {
        entries += entry.path().filename() == L"data.ini" ? 1 : 10;
    }
    EXPECT_EQ(entries, 1U);  // nothing else, no temporary file
    plainHttpAllowed = previous;
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
