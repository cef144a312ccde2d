// Windows only: share modes. A file held open without sharing cannot be replaced, and cannot
// be hashed.
#include <windows.h>

#include <gtest/gtest.h>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/compare.h"
#include "sync/download.h"
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
