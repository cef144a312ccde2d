#include "sync/sync_run.h"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>
#include <tuple>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/progress.h"
#include "tests/support/content_server.h"
#include "tests/support/file_time.h"
#include "tests/support/http_fixture.h"

namespace tavrin {
namespace {

// Whole runs against the content server, into a sandbox game folder, with the log and
// progress collected.
class SyncRunTest : public test::HttpTest {
protected:
    SyncRunTest() : data_("TAVRIN_DATA_DIR", sandbox_ / "data") {}

    void SetUp() override {
        HttpTest::SetUp();
        std::filesystem::create_directories(sandbox_ / "game" / "content");
        test::WriteFile(sandbox_ / "game" / "AssettoCorsa.exe", "MZ");
        sinks_.log = [this](const std::wstring& line) {
            std::lock_guard lock(mutex_);
            log_.push_back(line);
        };
        sinks_.progress = [this](const ProgressMessage& message) {
            std::lock_guard lock(mutex_);
            progress_.push_back(message);
        };
    }

    bool Run(std::vector<std::string> projects, RateLimit* limit = nullptr) {
        ServerSyncRequest request;
        request.rateLimit = limit;
        request.sinks = sinks_;
        request.serverUrl = content_.Url();
        request.clientId = L"tavrin-0123456789abcdef";
        request.projects = std::move(projects);
        request.targetFolder = PathToWide(sandbox_ / "game");
        request.cancelFlag = &cancel_;
        result_ = {};
        return RunServerSync(request, result_, error_);
    }
    std::string Local(const std::string& path) const {
        return test::ReadFile(sandbox_ / "game" / test::Utf8Path(path));
    }
    bool Logged(const std::wstring& line) {
        std::lock_guard lock(mutex_);
        return std::find(log_.begin(), log_.end(), line) != log_.end();
    }
    std::size_t TemporaryFilesLeft() const {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(sandbox_ / "game")) {
            count += entry.path().extension() == ".tavrin_tmp" ? 1 : 0;
        }
        return count;
    }

    test::ScopedEnvironment data_;
    test::ContentServer content_;
    std::atomic<bool> cancel_{false};
    SyncRunResult result_;
    std::wstring error_;
    ProgressSinks sinks_;
    std::mutex mutex_;
    std::vector<std::wstring> log_;
    std::vector<ProgressMessage> progress_;
};

TEST_F(SyncRunTest, missingAndChangedFilesArriveWithTheServersTimes) {
    content_.AddFile("cars", "content/cars/a/data.acd", "alpha", 1600000000.25);
    content_.AddFile("cars", "content/cars/b/data.acd", "bravo", 1600000001.0);
    content_.AddFile("cars", "content/cars/same.txt", "same", 1600000002.0);
    test::WriteFile(sandbox_ / "game" / "content" / "cars" / "b" / "data.acd", "BRAVO");
    test::WriteFile(sandbox_ / "game" / "content" / "cars" / "same.txt", "same");
    ASSERT_TRUE(Run({"cars"})) << WideToUtf8(error_);
    EXPECT_EQ(Local("content/cars/a/data.acd"), "alpha");
    EXPECT_EQ(Local("content/cars/b/data.acd"), "bravo");
    EXPECT_EQ(result_.filesListed, 3U);
    EXPECT_EQ(result_.filesUpToDate, 1U);
    EXPECT_EQ(result_.filesDownloaded, 2U);
    EXPECT_EQ(result_.bytesDownloaded, 10U);
    double mtime = 0;
    ASSERT_TRUE(test::ReadLocalFileTime(
        PathToWide(sandbox_ / "game" / "content" / "cars" / "a" / "data.acd"), mtime));
    EXPECT_NEAR(mtime, 1600000000.25, 1e-6);
    ASSERT_TRUE(test::ReadLocalFileTime(
        PathToWide(sandbox_ / "game" / "content" / "cars" / "same.txt"), mtime));
    EXPECT_NEAR(mtime, 1600000002.0, 1e-6);
    EXPECT_EQ(content_.DownloadRequests(), 2);
    EXPECT_EQ(TemporaryFilesLeft(), 0U);
    EXPECT_TRUE(Logged(FillPlaceholders(TrWide("log.project_summary"), {L"cars", L"1", L"2"})));
    EXPECT_TRUE(Logged(std::wstring(kHighlightPrefix) + TrWide("log.start_download_workers")));
}

TEST_F(SyncRunTest, upToDateServerLogsTheSummaryAndDownloadsNothing) {
    content_.AddFile("a", "x.txt", "x");
    content_.AddFile("b", "y.txt", "y");
    test::WriteFile(sandbox_ / "game" / "x.txt", "x");
    test::WriteFile(sandbox_ / "game" / "y.txt", "y");
    ASSERT_TRUE(Run({"a", "b"})) << WideToUtf8(error_);
    EXPECT_EQ(content_.DownloadRequests(), 0);
    EXPECT_TRUE(Logged(FillPlaceholders(TrWide("log.project_summary"), {L"a", L"1", L"0"})));
    EXPECT_TRUE(Logged(FillPlaceholders(TrWide("log.project_summary"), {L"b", L"1", L"0"})));
    EXPECT_TRUE(Logged(std::wstring(kHighlightPrefix) + TrWide("log.compare_done")));
    EXPECT_FALSE(Logged(std::wstring(kHighlightPrefix) + TrWide("log.start_download_workers")));
}

TEST_F(SyncRunTest, filesTheServerNoLongerListsAreLeftAlone) {
    content_.AddFile("a", "x.txt", "x");
    test::WriteFile(sandbox_ / "game" / "mine.txt", "my own file");
    test::WriteFile(sandbox_ / "game" / "content" / "old.txt", "unlisted");
    ASSERT_TRUE(Run({"a"})) << WideToUtf8(error_);
    EXPECT_EQ(Local("mine.txt"), "my own file");
    EXPECT_EQ(Local("content/old.txt"), "unlisted");
    EXPECT_EQ(Local("x.txt"), "x");
}

TEST_F(SyncRunTest, oneRefusedPathFailsTheRunBeforeAnyDownload) {
    content_.AddFile("a", "good.txt", "good");
    content_.AddRawRecord("a", R"({"relative_path":"../escape.txt","size":1,"hash":""})");
    EXPECT_FALSE(Run({"a"}));
    const std::wstring detail =
        FillPlaceholders(TrWide("error.unsafe_server_file_path"), {L"../escape.txt"});
    EXPECT_EQ(error_,
              FillPlaceholders(TrWide("error.project_prefix_with_details"), {L"a", detail}));
    EXPECT_EQ(content_.DownloadRequests(), 0);
    EXPECT_FALSE(std::filesystem::exists(sandbox_ / "good.txt"));
    EXPECT_FALSE(std::filesystem::exists(sandbox_ / "game" / "good.txt"));
}

TEST_F(SyncRunTest, twoProjectsAreDownloadedByOnePoolWithOneTotal) {
    content_.AddFile("a", "a1.txt", "11");
    content_.AddFile("a", "a2.txt", "222");
    content_.AddFile("b", "b1.txt", "4444");
    ASSERT_TRUE(Run({"a", "b"})) << WideToUtf8(error_);
    EXPECT_EQ(result_.filesDownloaded, 3U);
    std::lock_guard lock(mutex_);
    std::vector<ProgressMessage> downloading;
    for (const ProgressMessage& message : progress_) {
        if (!message.comparing) {
            downloading.push_back(message);
        }
    }
    ASSERT_FALSE(downloading.empty());
    EXPECT_EQ(downloading.front().done, 0U);  // the stage opens with 0 of everything
    EXPECT_EQ(downloading.front().currentFile, TrWide("common.none"));
    for (const ProgressMessage& message : downloading) {
        EXPECT_EQ(message.total, 3U);
        EXPECT_EQ(message.bytesTotal, 9U);
    }
    EXPECT_EQ(downloading.back().done, 3U);
    EXPECT_EQ(downloading.back().bytesDone, 9U);
}

TEST_F(SyncRunTest, cancelledRunDownloadsNothing) {
    content_.AddFile("a", "x.txt", "x");
    cancel_ = true;
    EXPECT_FALSE(Run({"a"}));
    EXPECT_EQ(error_, TrWide("error.sync_cancelled"));
    EXPECT_EQ(content_.DownloadRequests(), 0);
}

TEST_F(SyncRunTest, recordsForTheSameFileBecomeOneWorkItem) {
    content_.AddFile("a", "dup.txt", "first");
    content_.AddRawRecord("a", R"({"relative_path":"dup.txt","size":6,"hash":""})");
    content_.ScriptDownload("a", "dup.txt", {test::ScriptedReply::Status(200, "second")});
    ASSERT_TRUE(Run({"a"})) << WideToUtf8(error_);
    EXPECT_EQ(content_.DownloadRequestsFor("a", "dup.txt"), 1);
    EXPECT_EQ(Local("dup.txt"), "second");  // the later record won
}

TEST_F(SyncRunTest, fileListFailureEndsTheRun) {
    content_.AddFile("a", "x.txt", "x");
    EXPECT_FALSE(Run({"missing", "a"}));
    EXPECT_EQ(error_,
              FillPlaceholders(TrWide("error.file_list_http_for_project"), {L"missing", L"404"}));
    EXPECT_EQ(content_.DownloadRequests(), 0);
}

TEST_F(SyncRunTest, secondRunIsAnsweredFromTheCacheAndFindsEverythingInStep) {
    content_.AddFile("a", "x.txt", "x");
    ASSERT_TRUE(Run({"a"})) << WideToUtf8(error_);
    ASSERT_TRUE(Run({"a"})) << WideToUtf8(error_);
    EXPECT_EQ(result_.filesUpToDate, 1U);
    EXPECT_EQ(result_.filesDownloaded, 0U);
}

// One budget for the whole run: one file or sixteen, downloaded by as many workers, arrive at
// the limit on average, within 5 %.
class SyncRunLimitTest : public SyncRunTest,
                         public testing::WithParamInterface<std::tuple<std::uint64_t, int>> {};

TEST_P(SyncRunLimitTest, theDownloadsTogetherKeepToTheLimit) {
    const auto [rate, files] = GetParam();
    const std::uint64_t total = rate * 3;  // three seconds at the limit
    for (int file = 0; file < files; ++file) {
        content_.AddFile("Pack", "content/file" + std::to_string(file) + ".bin",
                         std::string(total / static_cast<std::uint64_t>(files), 'x'));
    }
    RateLimit limit(rate);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(Run({"Pack"}, &limit)) << WideToUtf8(error_);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(result_.filesDownloaded, static_cast<std::uint64_t>(files));
    EXPECT_NEAR(static_cast<double>(result_.bytesDownloaded) / seconds / static_cast<double>(rate),
                1.0, 0.05);
}

INSTANTIATE_TEST_SUITE_P(Limits, SyncRunLimitTest,
                         testing::Combine(testing::Values(256 * 1024, 1024 * 1024, 4 * 1024 * 1024),
                                          testing::Values(1, 16)));

TEST_F(SyncRunTest, aCancelEndsALimitedRunWithinASecond) {
    content_.AddFile("Pack", "content/big.bin", std::string(4 * 1024 * 1024, 'x'));
    RateLimit limit(64 * 1024);  // a minute for the file
    std::thread canceller([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        cancel_ = true;
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Run({"Pack"}, &limit));
    const auto cancelledAfter = std::chrono::steady_clock::now() - start;
    canceller.join();
    EXPECT_LT(cancelledAfter, std::chrono::milliseconds(1500));
    EXPECT_EQ(TemporaryFilesLeft(), 0U);
    EXPECT_FALSE(std::filesystem::exists(sandbox_ / "game" / "content" / "big.bin"));
}

TEST(CollapseTest, laterRecordWinsForOneLocalPath) {
    std::vector<SyncWorkItem> items{{"a", {"x", 1, 0, "1"}, {1, "p1"}},
                                    {"a", {"y", 2, 0, "2"}, {1, "p2"}},
                                    {"b", {"x", 3, 0, "3"}, {1, "p1"}},
                                    {"b", {"z", 4, 0, "4"}, {2, "p1"}}};
    CollapseSamePaths(items);
    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items[0].local.leaf, "p2");
    EXPECT_EQ(items[1].record.size, 3U);
    EXPECT_EQ(items[2].record.size, 4U);  // the same name in another folder is another file
}

}  // namespace
}  // namespace tavrin
