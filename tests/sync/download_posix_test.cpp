// Linux only: a link planted at the temporary path is never written through.
#include <gtest/gtest.h>

#include <filesystem>

#include "i18n/utf8_conversion.h"
#include "sync/download.h"
#include "tests/support/download_rig.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

TEST(DownloadLinkTest, linkAtTheTemporaryPathIsNeverWrittenThrough) {
    test::Sandbox sandbox;
    test::WriteFile(sandbox / "outside.txt", "precious");
    std::filesystem::create_directories(sandbox / "game");
    std::filesystem::create_symlink(sandbox / "outside.txt", sandbox / "game" / "a.txt.tavrin_tmp");
    test::DownloadRig rig(sandbox / "game");
    ASSERT_TRUE(rig.opened);
    rig.content.AddFile("p", "a.txt", "server bytes");
    const SyncWorkItem item{
        "p",
        {"a.txt", 12, 1600000000.0, test::ContentServer::Sha256Hex("server bytes")},
        {TargetTree::kTop, "a.txt"}};
    std::wstring error;
    EXPECT_TRUE(rig.Download(item, error)) << WideToUtf8(error);
    EXPECT_EQ(test::ReadFile(sandbox / "outside.txt"), "precious");
    EXPECT_EQ(test::ReadFile(sandbox / "game" / "a.txt"), "server bytes");
    EXPECT_FALSE(std::filesystem::is_symlink(sandbox / "game" / "a.txt"));
}

}  // namespace
}  // namespace tavrin
