// Linux only: a link planted at the temporary path is never written through.
#include <gtest/gtest.h>

#include <filesystem>

#include "i18n/utf8_conversion.h"
#include "sync/download.h"
#include "tests/support/content_server.h"
#include "tests/support/http_fixture.h"

namespace tavrin {
namespace {

TEST(DownloadLinkTest, linkAtTheTemporaryPathIsNeverWrittenThrough) {
    const bool previous = plainHttpAllowed.exchange(true);
    test::Sandbox sandbox;
    test::ContentServer content;
    content.AddFile("p", "a.txt", "server bytes");
    test::WriteFile(sandbox / "outside.txt", "precious");
    std::filesystem::create_directories(sandbox / "game");
    std::filesystem::create_symlink(sandbox / "outside.txt", sandbox / "game" / "a.txt.tavrin_tmp");

    DownloadContext context;
    context.endpoint = {kSchemeHttp, L"127.0.0.1", content.Http().Port(), L""};
    HttpSession session;
    session.endpoint = context.endpoint;
    std::wstring error;
    ASSERT_TRUE(OpenHttpSession(session, error, kDownloadTimeouts));
    TargetTree tree;
    ASSERT_TRUE(tree.Open(PathToWide(sandbox / "game"), error));
    context.tree = &tree;
    SyncWorkItem item{"p",
                      {"a.txt", 12, 1600000000.0, test::ContentServer::Sha256Hex("server bytes")},
                      {TargetTree::kTop, "a.txt"}};
    std::uint64_t bytes = 0;
    EXPECT_TRUE(DownloadFile(item, context, session, error, bytes)) << WideToUtf8(error);
    EXPECT_EQ(test::ReadFile(sandbox / "outside.txt"), "precious");
    EXPECT_EQ(test::ReadFile(sandbox / "game" / "a.txt"), "server bytes");
    EXPECT_FALSE(std::filesystem::is_symlink(sandbox / "game" / "a.txt"));
    plainHttpAllowed = previous;
}

}  // namespace
}  // namespace tavrin
