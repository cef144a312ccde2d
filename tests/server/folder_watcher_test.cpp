#include "server/folder_watcher.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <thread>

#include "i18n/utf8_conversion.h"
#include "net/change_feed.h"
#include "net/http_request.h"
#include "net/project_list.h"
#include "server/content_server.h"
#include "server/project_catalog.h"
#include "tests/support/http_fixture.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using namespace std::chrono_literals;
using server::ContentServer;
using server::FolderChanges;
using server::ProjectCatalog;

std::uint64_t QueuedEventLimit() {
    std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
    std::uint64_t value = 16384;
    limit >> value;
    return value;
}

// A tavrin-server whose timed rescans are five minutes apart: whatever it sees sooner, it
// saw through file events.
class WatchingServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        previousLock_ = plainHttpAllowed.exchange(true);
        test::WriteFile(sandbox_ / "root" / "alpha" / "content" / "a.txt", "alpha file");
        test::WriteFile(sandbox_ / "root" / "beta" / "x.bin", "beta file");
    }
    void TearDown() override {
        if (server_) {
            server_->Stop();
            thread_.join();
        }
        plainHttpAllowed = previousLock_;
    }
    void StartServer(std::chrono::milliseconds quiet = 50ms) {
        server::ServerConfig config;
        config.root = sandbox_ / "root";
        config.port = 0;
        config.scanIntervalSeconds = 300;
        config.eventQuiet = quiet;
        server_ = std::make_unique<ContentServer>(config);
        std::string error;
        ASSERT_TRUE(server_->Start(error)) << error;
        thread_ = std::thread([this] { server_->Run(false); });
        session_.endpoint = {kSchemeHttp, L"127.0.0.1", server_->Port(), L""};
        std::wstring openError;
        ASSERT_TRUE(OpenHttpSession(session_, openError, {2000, 2000, 5000, 15000}));
    }
    std::uint64_t Revision() {
        ChangeFeedResult result;
        std::wstring error;
        EXPECT_TRUE(PollChanges(L"http://127.0.0.1:" + std::to_wstring(server_->Port()), L"", 0, 0,
                                {}, result, error, nullptr))
            << WideToUtf8(error);
        ReleaseChangeFeedConnection();
        return result.revision;
    }
    // Waits until the revision passes `revision`, then for the watcher's quiet time and more,
    // so that a second raise would show.
    std::uint64_t RevisionAfterChange(std::uint64_t revision) {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (Revision() == revision && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(20ms);
        }
        std::this_thread::sleep_for(1500ms);
        return Revision();
    }
    std::string List(const std::string& project) {
        HttpRequest request;
        request.endpointPath = Utf8ToWide("/file_list/" + project);
        std::string body;
        request.outBody = &body;
        HttpResult result;
        std::wstring error;
        EXPECT_TRUE(ExecuteHttpRequest(session_, request, result, error)) << WideToUtf8(error);
        return result.status == 200 ? body : "status " + std::to_string(result.status);
    }

    test::Sandbox sandbox_;
    std::unique_ptr<ContentServer> server_;
    std::thread thread_;
    HttpSession session_;
    bool previousLock_ = false;
};

TEST_F(WatchingServerTest, aBurstOfAThousandWritesRaisesTheRevisionOnce) {
    // A longer quiet time than the default, so that a busy machine pausing this loop for a
    // moment does not split the burst.
    StartServer(300ms);
    const std::uint64_t before = Revision();
    for (int i = 0; i < 1000; ++i) {
        test::WriteFile(sandbox_ / "root" / "alpha" / "burst" / ("f" + std::to_string(i) + ".ini"),
                        "value=" + std::to_string(i));
    }
    EXPECT_EQ(RevisionAfterChange(before), before + 1);
    const std::string list = List("alpha");
    EXPECT_NE(list.find("\"burst/f0.ini\""), std::string::npos);
    EXPECT_NE(list.find("\"burst/f999.ini\""), std::string::npos);
}

TEST_F(WatchingServerTest, aNewFolderIsWatchedForTheFilesWrittenLaterInIt) {
    StartServer();
    std::filesystem::create_directories(sandbox_ / "root" / "alpha" / "new" / "deeper");
    std::this_thread::sleep_for(500ms);  // the folder alone changes no list
    const std::uint64_t before = Revision();
    test::WriteFile(sandbox_ / "root" / "alpha" / "new" / "deeper" / "late.txt", "late");
    EXPECT_EQ(RevisionAfterChange(before), before + 1);
    EXPECT_NE(List("alpha").find("\"new/deeper/late.txt\""), std::string::npos);
}

TEST_F(WatchingServerTest, aFolderMovedOutLeavesTheListAndOneMovedInJoinsIt) {
    test::WriteFile(sandbox_ / "root" / "alpha" / "cars" / "one" / "car.ini", "one");
    test::WriteFile(sandbox_ / "outside" / "tracks" / "t" / "track.ini", "track");
    StartServer();
    std::uint64_t revision = Revision();
    std::filesystem::rename(sandbox_ / "root" / "alpha" / "cars", sandbox_ / "outside" / "cars");
    revision = RevisionAfterChange(revision);
    EXPECT_EQ(List("alpha").find("cars/one/car.ini"), std::string::npos);
    // The folder moved away is no longer watched: a change there changes nothing here.
    test::WriteFile(sandbox_ / "outside" / "cars" / "one" / "other.ini", "other");
    std::filesystem::rename(sandbox_ / "outside" / "tracks",
                            sandbox_ / "root" / "alpha" / "tracks");
    EXPECT_EQ(RevisionAfterChange(revision), revision + 1);
    const std::string list = List("alpha");
    EXPECT_NE(list.find("\"tracks/t/track.ini\""), std::string::npos);
    EXPECT_EQ(list.find("other.ini"), std::string::npos);
}

TEST_F(WatchingServerTest, aProjectFolderAddedAtTheRootIsPublished) {
    StartServer();
    const std::uint64_t before = Revision();
    test::WriteFile(sandbox_ / "staging" / "gamma" / "g.txt", "gamma");
    std::filesystem::rename(sandbox_ / "staging" / "gamma", sandbox_ / "root" / "gamma");
    EXPECT_EQ(RevisionAfterChange(before), before + 1);
    EXPECT_NE(List("gamma").find("\"g.txt\""), std::string::npos);
}

// Random work on the tree while the server follows it by events alone: at the end its lists
// are exactly what a fresh full scan finds.
TEST_F(WatchingServerTest, randomChangesEndWhereAFullScanDoes) {
    StartServer();
    const auto root = sandbox_ / "root";
    std::mt19937 random(20261123);
    const auto pick = [&](std::vector<std::filesystem::path> items) {
        return items.empty()
                   ? std::filesystem::path()
                   : items[std::uniform_int_distribution<std::size_t>(0, items.size() - 1)(random)];
    };
    const auto entries = [&](bool folders) {
        std::vector<std::filesystem::path> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
            const std::string first = PathToUtf8(*entry.path().lexically_relative(root).begin());
            if (first.front() != '.' && entry.is_directory() == folders) {
                found.push_back(entry.path());
            }
        }
        return found;
    };
    for (int step = 0; step < 300; ++step) {
        const auto folder = pick(entries(true));
        const auto file = pick(entries(false));
        switch (random() % 8) {
            case 0:
            case 1:
                if (!folder.empty()) {
                    test::WriteFile(folder / ("n" + std::to_string(step) + ".txt"),
                                    std::string(random() % 100, 'x'));
                }
                break;
            case 2:
                if (!file.empty()) {
                    test::WriteFile(file, "rewritten " + std::to_string(step));
                }
                break;
            case 3:
                if (!file.empty()) {
                    std::filesystem::remove(file);
                }
                break;
            case 4:
                if (!folder.empty()) {
                    test::WriteFile(folder / ("d" + std::to_string(step)) / "sub" / "f.txt",
                                    "deep");
                }
                break;
            case 5:
                if (!folder.empty() && !file.empty()) {
                    std::error_code ec;
                    std::filesystem::rename(file, folder / ("m" + std::to_string(step)), ec);
                }
                break;
            default:
                if (!folder.empty() && folder.parent_path() != root) {
                    std::filesystem::remove_all(folder);
                }
                break;
        }
    }
    ProjectCatalog fresh(root, sandbox_ / "fresh-state");
    fresh.Rescan();
    const auto matches = [&] {
        for (const auto& [name, project] : fresh.Projects()) {
            if (List(name) != project->listJson) {
                return false;
            }
        }
        return true;
    };
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!matches() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(100ms);
    }
    std::vector<ProjectInfo> projects;
    std::wstring error;
    ASSERT_TRUE(FetchProjectList(L"http://127.0.0.1:" + std::to_wstring(server_->Port()), L"",
                                 projects, error));
    ASSERT_EQ(projects.size(), fresh.Projects().size());
    for (const auto& [name, project] : fresh.Projects()) {
        EXPECT_EQ(List(name), project->listJson) << name;
    }
}

TEST(FolderWatcherTest, anOverflowOfEventsAsksForAFullRescanThatSeesEveryFile) {
    test::Sandbox sandbox;
    const auto root = sandbox / "root";
    test::WriteFile(root / "alpha" / "a.txt", "a");
    ProjectCatalog catalog(root, sandbox / "state");
    catalog.Rescan();
    auto watcher = server::CreateFolderWatcher();
    std::string error;
    ASSERT_TRUE(watcher->Start(root, error)) << error;
    // Each new file in a watched folder raises two events (created, closed after writing);
    // none is read meanwhile. The folders made after the queue is full raise events that are
    // lost: only a fresh look at the tree can watch them.
    const std::uint64_t files = QueuedEventLimit() / 2 + 100;
    for (std::uint64_t i = 0; i < files; ++i) {
        test::WriteFile(root / "alpha" / ("f" + std::to_string(i)), "x");
    }
    for (int i = 0; i < 10; ++i) {
        test::WriteFile(root / "alpha" / ("d" + std::to_string(i)) / "in.txt", "lost event");
    }
    const FolderChanges changes = watcher->Collect(2s, 100ms, 2s);
    EXPECT_TRUE(changes.everything);
    EXPECT_EQ(watcher->TakeNotice(),
              "the queue of file events overflowed; scanning the whole root");
    const std::uint64_t revision = catalog.Revision();
    EXPECT_TRUE(catalog.Apply(changes));
    EXPECT_EQ(catalog.Revision(), revision + 1);
    EXPECT_EQ(catalog.Find("alpha")->files.size(), files + 11);
    // The folders made while events were lost are watched from then on.
    test::WriteFile(root / "alpha" / "d7" / "after.txt", "after");
    const FolderChanges later = watcher->Collect(2s, 100ms, 2s);
    EXPECT_FALSE(later.everything);
    EXPECT_EQ(later.folders, (std::set<std::string>{"alpha/d7"}));
}

TEST(FolderWatcherTest, hiddenEntriesOfTheRootAreNotWatched) {
    test::Sandbox sandbox;
    const auto root = sandbox / "root";
    test::WriteFile(root / "alpha" / "a.txt", "a");
    std::filesystem::create_directories(root / ".tavrin-server");
    auto watcher = server::CreateFolderWatcher();
    std::string error;
    ASSERT_TRUE(watcher->Start(root, error)) << error;
    test::WriteFile(root / ".tavrin-server" / "state.json", "{}");
    test::WriteFile(root / "loose.txt", "not a project");
    EXPECT_TRUE(watcher->Collect(300ms, 50ms, 1s).Empty());
    test::WriteFile(root / "alpha" / "b.txt", "b");
    EXPECT_EQ(watcher->Collect(2s, 50ms, 1s).folders, (std::set<std::string>{"alpha"}));
}

TEST(FolderWatcherTest, interruptEndsAWaitAtOnce) {
    test::Sandbox sandbox;
    std::filesystem::create_directories(sandbox / "root");
    auto watcher = server::CreateFolderWatcher();
    std::string error;
    ASSERT_TRUE(watcher->Start(sandbox / "root", error)) << error;
    std::thread stopper([&] {
        std::this_thread::sleep_for(100ms);
        watcher->Interrupt();
    });
    const auto started = std::chrono::steady_clock::now();
    EXPECT_TRUE(watcher->Collect(30s, 100ms, 1s).Empty());
    stopper.join();
    EXPECT_LT(std::chrono::steady_clock::now() - started, 5s);
}

}  // namespace
}  // namespace tavrin
