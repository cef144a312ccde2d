// Linux only: real races. While real syncs run against the test server, another thread keeps
// swapping a folder inside the game folder, or the game folder itself, for a symbolic link to
// a folder outside it and back. Whatever each run ends with, nothing outside the game folder
// may change: no file written, replaced, touched or added.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <tuple>

#include "i18n/utf8_conversion.h"
#include "sync/progress.h"
#include "sync/sync_run.h"
#include "tests/support/content_server.h"
#include "tests/support/http_fixture.h"

namespace tavrin {
namespace {

namespace fs = std::filesystem;

// What a folder holds, read without following links: content, time, inode per entry.
using Snapshot = std::map<std::string, std::tuple<std::string, long long, ino_t>>;

Snapshot Take(const fs::path& folder) {
    Snapshot snapshot;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        struct stat info {};
        EXPECT_EQ(::lstat(entry.path().c_str(), &info), 0);
        const long long mtime = info.st_mtim.tv_sec * 1000000000LL + info.st_mtim.tv_nsec;
        const std::string content =
            S_ISREG(info.st_mode) ? test::ReadFile(entry.path()) : std::string("<folder>");
        snapshot[fs::relative(entry.path(), folder).string()] = {content, mtime, info.st_ino};
    }
    return snapshot;
}

// Swaps `place` (a real folder) for a link to `outside` and back until stopped, then leaves
// the real folder in place.
class Swapper {
public:
    Swapper(fs::path place, fs::path outside)
        : place_(std::move(place)), outside_(std::move(outside)) {
        thread_ = std::thread([this] { Loop(); });
    }
    ~Swapper() { Stop(); }
    void Stop() {
        stop_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    int Swaps() const { return swaps_; }

private:
    void Loop() {
        const fs::path aside = place_.string() + ".aside";
        while (!stop_) {
            if (::rename(place_.c_str(), aside.c_str()) != 0) {
                continue;
            }
            const bool linked = ::symlink(outside_.c_str(), place_.c_str()) == 0;
            std::this_thread::sleep_for(std::chrono::microseconds(300));
            if (linked) {
                ::unlink(place_.c_str());
                ++swaps_;
            }
            ::rename(aside.c_str(), place_.c_str());
            std::this_thread::sleep_for(std::chrono::microseconds(300));
        }
    }

    fs::path place_;
    fs::path outside_;
    std::atomic<bool> stop_{false};
    std::atomic<int> swaps_{0};
    std::thread thread_;
};

class LinkRaceTest : public test::HttpTest {
protected:
    LinkRaceTest() : data_("TAVRIN_DATA_DIR", sandbox_ / "data") {}

    void SetUp() override {
        HttpTest::SetUp();
        fs::create_directories(sandbox_ / "game" / "content" / "cars");
        fs::create_directories(sandbox_ / "outside" / "content" / "cars");
        // The outside folder holds files of the same names as the server's, with other bytes:
        // any write that goes astray replaces or touches one of them, or adds one.
        for (int i = 0; i < 24; ++i) {
            const std::string name = "car" + std::to_string(i) + ".kn5";
            const std::string bytes(8192 + i, static_cast<char>('a' + i % 26));
            content_.AddFile("p", "content/cars/" + name, bytes);
            content_.AddFile("p", name, bytes);
            test::WriteFile(sandbox_ / "outside" / name, "precious");
            test::WriteFile(sandbox_ / "outside" / "content" / "cars" / name, "precious");
        }
        before_ = Take(sandbox_ / "outside");
    }

    // The game folder as before any run; called while nothing swaps it.
    void Clear() {
        for (const auto& entry : fs::directory_iterator(sandbox_ / "game")) {
            if (entry.is_regular_file()) {
                fs::remove(entry.path());
            }
        }
        fs::remove_all(sandbox_ / "game" / "content" / "cars");
        fs::create_directories(sandbox_ / "game" / "content" / "cars");
    }

    bool Sync(SyncRunResult& result, std::wstring& error) {
        ServerSyncRequest request;
        request.sinks = sinks_;
        request.serverUrl = content_.Url();
        request.projects = {"p"};
        request.targetFolder = PathToWide(sandbox_ / "game");
        return RunServerSync(request, result, error);
    }

    // One run: whatever it ends with, it must say why when it fails.
    void RunOnce() {
        SyncRunResult result;
        std::wstring error;
        if (!Sync(result, error)) {
            EXPECT_FALSE(error.empty());
        }
        downloaded_ += result.filesDownloaded;
    }

    // Forty runs, each while `place` keeps being swapped for a link to the outside folder.
    void RaceRuns(const fs::path& place) {
        int swaps = 0;
        for (int i = 0; i < 40; ++i) {
            Clear();
            Swapper swapper(place, sandbox_ / "outside");
            RunOnce();
            swapper.Stop();
            swaps += swapper.Swaps();
            ASSERT_EQ(Take(sandbox_ / "outside"), before_) << "after run " << i;
        }
        EXPECT_GT(swaps, 0);
        EXPECT_GT(downloaded_, 0U);  // the runs did write, beside the swaps
    }

    test::ScopedEnvironment data_;
    test::ContentServer content_;
    Snapshot before_;
    ProgressSinks sinks_;  // what the runs report to
    std::uint64_t downloaded_ = 0;
};

TEST_F(LinkRaceTest, folderSwappedForALinkDuringRunsNeverCarriesAWriteOutside) {
    RaceRuns(sandbox_ / "game" / "content" / "cars");
}

TEST_F(LinkRaceTest, gameFolderSwappedForALinkDuringRunsNeverCarriesAWriteOutside) {
    RaceRuns(sandbox_ / "game");
}

TEST_F(LinkRaceTest, filesOfARunGoToTheGameFolderItOpenedEvenWhenItIsMovedAway) {
    // The game folder is renamed once the run has opened it: the files follow the folder,
    // not the path, and nothing appears at the old path's new occupant.
    std::atomic<bool> moved{false};
    sinks_.progress = [&](const ProgressMessage& message) {
        if (!message.comparing && !moved.exchange(true)) {
            fs::rename(sandbox_ / "game", sandbox_ / "moved");
            fs::create_directory_symlink(sandbox_ / "outside", sandbox_ / "game");
        }
    };
    SyncRunResult result;
    std::wstring error;
    const bool ok = Sync(result, error);
    ASSERT_TRUE(moved);
    EXPECT_TRUE(ok) << WideToUtf8(error);
    EXPECT_EQ(result.filesDownloaded, 48U);
    EXPECT_EQ(test::ReadFile(sandbox_ / "moved" / "content" / "cars" / "car3.kn5"),
              std::string(8195, 'd'));
    EXPECT_EQ(Take(sandbox_ / "outside"), before_);
    fs::remove(sandbox_ / "game");
}

}  // namespace
}  // namespace tavrin
