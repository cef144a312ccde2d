#include "server/static_tree.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "i18n/utf8_conversion.h"
#include "net/change_feed.h"
#include "server/content_server.h"
#include "server/project_catalog.h"
#include "server/publish_folder.h"
#include "tests/support/http_fixture.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using server::ProjectCatalog;
using server::StaticTree;

ino_t InodeOf(const std::filesystem::path& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

class StaticTreeTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::WriteFile(root_ / "alpha" / "a.txt", "alpha file");
        test::WriteFile(root_ / "alpha" / "sub" / "b c.ini", "spaced");
        test::WriteFile(root_ / "beta" / "x.bin", "beta file");
    }
    // Replaces a file as careful tools do: a new file renamed over the old one.
    void Replace(const std::filesystem::path& path, const std::string& bytes) {
        test::WriteFile(path.string() + ".new", bytes);
        std::filesystem::rename(path.string() + ".new", path);
    }

    test::Sandbox sandbox_;
    std::filesystem::path root_ = sandbox_ / "root";
    std::filesystem::path out_ = sandbox_ / "public";
};

TEST_F(StaticTreeTest, publishWritesTheProtocolPathsWithFilesLinkedFromTheRoot) {
    server::ServerConfig config;
    config.root = root_;
    config.publishFolder = out_;
    config.passwords["beta"] = "open sesame";
    ASSERT_EQ(server::PublishOnce(config), 0);
    EXPECT_EQ(test::ReadFile(out_ / "list_projects"), R"(["alpha","beta"])");
    EXPECT_EQ(test::ReadFile(out_ / "list_projects_meta"),
              R"([{"name":"alpha","requires_password":false},)"
              R"({"name":"beta","requires_password":true}])");
    ProjectCatalog catalog(root_);
    catalog.Rescan();
    EXPECT_EQ(test::ReadFile(out_ / "file_list" / "alpha"), catalog.Find("alpha")->listJson);
    const std::string gzipped = test::ReadFile(out_ / "file_list" / "alpha.gz");
    ASSERT_GE(gzipped.size(), 2U);
    EXPECT_EQ(gzipped.substr(0, 2), "\x1f\x8b");
    EXPECT_EQ(test::ReadFile(out_ / "download_file" / "alpha" / "sub" / "b c.ini"), "spaced");
    EXPECT_EQ(InodeOf(out_ / "download_file" / "alpha" / "sub" / "b c.ini"),
              InodeOf(root_ / "alpha" / "sub" / "b c.ini"));
    // Nothing of the state folder is published.
    EXPECT_FALSE(std::filesystem::exists(out_ / "download_file" / ".tavrin-server"));
}

TEST_F(StaticTreeTest, changesAreRepublishedAndWhatWentIsWithdrawnAfterTheLists) {
    ProjectCatalog catalog(root_, sandbox_ / "state");
    catalog.Rescan();
    StaticTree tree(out_, {});
    std::string error;
    ASSERT_TRUE(tree.Publish(catalog.Projects(), root_, error)) << error;
    Replace(root_ / "alpha" / "a.txt", "ALPHA, second edition");
    std::filesystem::remove(root_ / "alpha" / "sub" / "b c.ini");
    std::filesystem::remove_all(root_ / "beta");
    ASSERT_TRUE(catalog.Rescan());
    ASSERT_TRUE(tree.Publish(catalog.Projects(), root_, error)) << error;
    EXPECT_EQ(test::ReadFile(out_ / "download_file" / "alpha" / "a.txt"), "ALPHA, second edition");
    EXPECT_FALSE(std::filesystem::exists(out_ / "download_file" / "alpha" / "sub" / "b c.ini"));
    EXPECT_FALSE(std::filesystem::exists(out_ / "download_file" / "beta"));
    EXPECT_FALSE(std::filesystem::exists(out_ / "file_list" / "beta"));
    EXPECT_EQ(test::ReadFile(out_ / "list_projects"), R"(["alpha"])");
    EXPECT_EQ(test::ReadFile(out_ / "file_list" / "alpha"), catalog.Find("alpha")->listJson);
    EXPECT_EQ(tree.Counts().removed, 2U);
}

TEST_F(StaticTreeTest, whatAnEarlierRunLeftUnlistedIsRemovedAtTheFirstPublication) {
    test::WriteFile(out_ / "download_file" / "alpha" / "old.txt", "withdrawn long ago");
    test::WriteFile(out_ / "download_file" / "alpha" / "sub" / ".tavrin-publish-b c.ini", "half");
    ProjectCatalog catalog(root_, sandbox_ / "state");
    catalog.Rescan();
    StaticTree tree(out_, {});
    std::string error;
    ASSERT_TRUE(tree.Publish(catalog.Projects(), root_, error)) << error;
    EXPECT_FALSE(std::filesystem::exists(out_ / "download_file" / "alpha" / "old.txt"));
    EXPECT_FALSE(std::filesystem::exists(out_ / "download_file" / "alpha" / "sub" /
                                         ".tavrin-publish-b c.ini"));
    EXPECT_EQ(test::ReadFile(out_ / "download_file" / "alpha" / "a.txt"), "alpha file");
}

TEST_F(StaticTreeTest, aTreeThatOverlapsTheRootIsRefused) {
    std::string error;
    EXPECT_FALSE(server::CheckPublishFolder(root_, root_, error));
    EXPECT_FALSE(server::CheckPublishFolder(root_, root_ / "alpha" / "public", error));
    EXPECT_FALSE(server::CheckPublishFolder(root_, sandbox_.Root(), error));
    EXPECT_EQ(error, "the published tree " + sandbox_.Root().string() +
                         " must lie outside the root " + root_.string() +
                         ", and the root outside it");
    EXPECT_TRUE(server::CheckPublishFolder(root_, out_, error));
    server::ServerConfig config;
    config.root = root_;
    config.publishFolder = root_ / "public";
    EXPECT_EQ(server::PublishOnce(config), 2);
    EXPECT_FALSE(std::filesystem::exists(root_ / "public"));
}

// A server that publishes keeps its tree in step before it answers the polls, so a client
// that follows the feed to the tree finds the change there.
TEST_F(StaticTreeTest, aServerThatPublishesHasTheChangeInItsTreeWhenThePollIsAnswered) {
    const bool previousLock = plainHttpAllowed.exchange(true);
    server::ServerConfig config;
    config.root = root_;
    config.port = 0;
    config.publishFolder = out_;
    config.scanIntervalSeconds = 300;
    server::ContentServer server(config);
    std::string error;
    ASSERT_TRUE(server.Start(error)) << error;
    std::thread running([&] { server.Run(false); });
    const std::wstring url = L"http://127.0.0.1:" + std::to_wstring(server.Port());
    ChangeFeedResult first;
    std::wstring feedError;
    ASSERT_TRUE(PollChanges(url, L"", 0, 0, {}, first, feedError, nullptr));
    EXPECT_TRUE(std::filesystem::exists(out_ / "file_list" / "alpha.gz"));
    std::thread changer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        test::WriteFile(root_ / "alpha" / "fresh.txt", "fresh");
    });
    ChangeFeedResult result;
    ASSERT_TRUE(PollChanges(url, L"", first.revision, 10, {"alpha"}, result, feedError, nullptr))
        << WideToUtf8(feedError);
    EXPECT_TRUE(result.hasChanges);
    EXPECT_NE(test::ReadFile(out_ / "file_list" / "alpha").find("\"fresh.txt\""),
              std::string::npos);
    EXPECT_EQ(test::ReadFile(out_ / "download_file" / "alpha" / "fresh.txt"), "fresh");
    changer.join();
    ReleaseChangeFeedConnection();
    server.Stop();
    running.join();
    plainHttpAllowed = previousLock;
}

}  // namespace
}  // namespace tavrin
