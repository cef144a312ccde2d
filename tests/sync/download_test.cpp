#include "sync/download.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/path_safety.h"
#include "sync/path_status.h"
#include "tests/support/content_server.h"
#include "tests/support/file_time.h"
#include "tests/support/http_fixture.h"

namespace tavrin {
namespace {

using test::ScriptedReply;
using Clock = std::chrono::steady_clock;

std::vector<SyncWorkItem> FilesOfSize(std::size_t count, std::uint64_t size) {
    std::vector<SyncWorkItem> items(count);
    for (auto& item : items) {
        item.record.size = size;
    }
    return items;
}

TEST(DownloadWorkerCountTest, manySmallFilesGetMoreConnections) {
    EXPECT_EQ(DownloadWorkerCount(FilesOfSize(200, 10000), 8), 10U);
    EXPECT_EQ(DownloadWorkerCount(FilesOfSize(200, 10000), 2), 4U);  // the ceiling of 2 cores
}

TEST(DownloadWorkerCountTest, mostlyLargeFilesGetFewer) {
    EXPECT_EQ(DownloadWorkerCount(FilesOfSize(20, 50ULL << 20), 8), 4U);
    EXPECT_EQ(DownloadWorkerCount(FilesOfSize(20, 50ULL << 20), 2), 2U);
    EXPECT_EQ(DownloadWorkerCount(FilesOfSize(20, 50ULL << 20), 0), 3U);
}

TEST(DownloadWorkerCountTest, neverMoreWorkersThanFiles) {
    EXPECT_EQ(DownloadWorkerCount(FilesOfSize(1, 100), 8), 1U);
    EXPECT_EQ(DownloadWorkerCount(FilesOfSize(0, 100), 8), 0U);
    EXPECT_EQ(DownloadWorkerCount(FilesOfSize(5, 2ULL << 20), 0), 4U);
}

TEST(SleepCancellableTest, sleepsTheWholeDelayOrStopsAtTheCancel) {
    EXPECT_TRUE(SleepCancellable(nullptr, -5));
    EXPECT_TRUE(SleepCancellable(nullptr, 0));
    const auto started = Clock::now();
    EXPECT_TRUE(SleepCancellable(nullptr, 250));
    EXPECT_GE(Clock::now() - started, std::chrono::milliseconds(250));
    std::atomic<bool> cancel{false};
    std::thread raiser([&cancel] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        cancel = true;
    });
    const auto waited = Clock::now();
    EXPECT_FALSE(SleepCancellable(&cancel, 5000));
    raiser.join();
    EXPECT_LT(Clock::now() - waited, std::chrono::milliseconds(400));
}

// One file downloaded from the content server into a sandbox game folder.
class DownloadTest : public test::HttpTest {
protected:
    void SetUp() override {
        HttpTest::SetUp();
        context_.endpoint = {kSchemeHttp, L"127.0.0.1", content_.Http().Port(), L""};
        context_.passwords = &passwords_;
        context_.cancelFlag = &cancel_;
        context_.tree = &tree_;
        session_ = OpenSession(content_.Url());
        std::filesystem::create_directories(sandbox_ / "game");
        std::wstring error;
        ASSERT_TRUE(tree_.Open(PathToWide(sandbox_ / "game"), error)) << WideToUtf8(error);
    }
    SyncWorkItem Item(const std::string& project, const std::string& path,
                      const std::string& bytes) {
        content_.AddFile(project, path, bytes);
        SyncWorkItem item;
        item.project = project;
        item.record = {path, bytes.size(), 1600000000.0, test::ContentServer::Sha256Hex(bytes)};
        std::wstring error;
        EXPECT_TRUE(ResolveServerPathInTree(tree_, path, item.local, error)) << WideToUtf8(error);
        return item;
    }
    bool Download(const SyncWorkItem& item) {
        std::uint64_t bytes = 0;
        return DownloadFile(item, context_, session_, error_, bytes);
    }
    bool TemporaryLeft(const SyncWorkItem& item) const {
        return ReadPathStatus(LocalPath(item) + std::wstring(kTemporaryFileSuffix)).kind !=
               PathKind::kAbsent;
    }
    std::wstring LocalPath(const SyncWorkItem& item) const {
        return tree_.LocalPath(item.local.folder, item.local.leaf);
    }

    test::ContentServer content_;
    DownloadContext context_;
    PasswordTable passwords_;
    std::atomic<bool> cancel_{false};
    HttpSession session_;
    TargetTree tree_;
    std::wstring error_;
};

TEST_F(DownloadTest, fileIsVerifiedMovedIntoPlaceAndGetsTheServersTime) {
    const SyncWorkItem item = Item("My Pack", "content/cars/my car/data.acd", "car data");
    ASSERT_TRUE(Download(item)) << WideToUtf8(error_);
    EXPECT_EQ(test::ReadFile(WideToPath(LocalPath(item))), "car data");
    double mtime = 0;
    ASSERT_TRUE(test::ReadLocalFileTime(LocalPath(item), mtime));
    EXPECT_NEAR(mtime, 1600000000.0, 1e-6);
    EXPECT_FALSE(TemporaryLeft(item));
    const auto requests = content_.Http().Requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].target, "/download_file/My%20Pack/content/cars/my%20car/data.acd");
}

TEST_F(DownloadTest, notFoundIsTriedThreeTimesWithTheWaitsBetween) {
    const SyncWorkItem item = Item("p", "a.txt", "abc");
    content_.ScriptDownload("p", "a.txt", {ScriptedReply::Status(404, "")});
    const auto started = Clock::now();
    EXPECT_FALSE(Download(item));
    const auto elapsed = Clock::now() - started;
    EXPECT_EQ(error_,
              FillPlaceholders(TrWide("error.download_http_for_file"), {L"404", L"p/a.txt"}));
    EXPECT_EQ(content_.DownloadRequestsFor("p", "a.txt"), 3);
    EXPECT_GE(elapsed, std::chrono::milliseconds(2000));  // 500 ms, then 1,500 ms
    EXPECT_LT(elapsed, std::chrono::milliseconds(3400));
    EXPECT_FALSE(TemporaryLeft(item));
}

TEST_F(DownloadTest, badRequestFailsAtOnce) {
    const SyncWorkItem item = Item("p", "a.txt", "abc");
    content_.ScriptDownload("p", "a.txt", {ScriptedReply::Status(400, "")});
    EXPECT_FALSE(Download(item));
    EXPECT_EQ(content_.DownloadRequestsFor("p", "a.txt"), 1);
    EXPECT_EQ(error_,
              FillPlaceholders(TrWide("error.download_http_for_file"), {L"400", L"p/a.txt"}));
}

TEST_F(DownloadTest, bodyOneByteShortIsRetriedThenReportedAsSizeMismatch) {
    const SyncWorkItem item = Item("p", "a.txt", "abcdef");
    ScriptedReply shortReply = ScriptedReply::Status(200, "abcde");
    shortReply.contentLength = 6;
    shortReply.closeConnection = true;
    content_.ScriptDownload("p", "a.txt", {shortReply});
    test::WriteFile(WideToPath(LocalPath(item)), "old");
    EXPECT_FALSE(Download(item));
    EXPECT_EQ(error_,
              FillPlaceholders(TrWide("error.download_size_mismatch"), {L"a.txt", L"6", L"5"}));
    EXPECT_EQ(content_.DownloadRequestsFor("p", "a.txt"), 3);
    EXPECT_EQ(test::ReadFile(WideToPath(LocalPath(item))), "old");  // the old file stays
    EXPECT_FALSE(TemporaryLeft(item));
}

TEST_F(DownloadTest, wrongContentIsAHashMismatchAndTheOldFileStays) {
    const SyncWorkItem item = Item("p", "a.txt", "abc");
    content_.ScriptDownload("p", "a.txt", {ScriptedReply::Status(200, "xyz")});
    test::WriteFile(WideToPath(LocalPath(item)), "old");
    EXPECT_FALSE(Download(item));
    EXPECT_EQ(error_, FillPlaceholders(TrWide("error.download_hash_mismatch"), {L"a.txt"}));
    EXPECT_EQ(test::ReadFile(WideToPath(LocalPath(item))), "old");
    EXPECT_FALSE(TemporaryLeft(item));
}

TEST_F(DownloadTest, secondAttemptThatSucceedsIsEnough) {
    const SyncWorkItem item = Item("p", "a.txt", "abc");
    content_.ScriptDownload("p", "a.txt",
                            {ScriptedReply::Status(500, ""), ScriptedReply::Status(200, "abc")});
    ASSERT_TRUE(Download(item)) << WideToUtf8(error_);
    EXPECT_EQ(content_.DownloadRequestsFor("p", "a.txt"), 2);
}

TEST_F(DownloadTest, endlessBodyIsCutOffAndNeverFillsTheDisk) {
    const SyncWorkItem item = Item("p", "big.bin", std::string(1000, 'b'));
    ScriptedReply endless = ScriptedReply::Status(200, "");
    endless.endlessBody = true;
    content_.ScriptDownload("p", "big.bin", {endless});
    const auto started = Clock::now();
    EXPECT_FALSE(Download(item));
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(10));
    EXPECT_EQ(error_, FillPlaceholders(TrWide("error.download_size_mismatch"),
                                       {L"big.bin", L"1000", L"1001"}));
    EXPECT_FALSE(TemporaryLeft(item));
    EXPECT_EQ(ReadPathStatus(LocalPath(item)).kind, PathKind::kAbsent);
}

TEST_F(DownloadTest, cancelDuringARetryWaitEndsTheFileQuickly) {
    const SyncWorkItem item = Item("p", "a.txt", "abc");
    content_.ScriptDownload("p", "a.txt", {ScriptedReply::Status(503, "")});
    std::thread canceller([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
        cancel_ = true;
    });
    const auto started = Clock::now();
    EXPECT_FALSE(Download(item));
    const auto elapsed = Clock::now() - started;
    canceller.join();
    EXPECT_LT(elapsed, std::chrono::milliseconds(600));  // within about 100 ms of the cancel
    EXPECT_EQ(content_.DownloadRequestsFor("p", "a.txt"), 1);
}

TEST_F(DownloadTest, cancelledBeforeTheStartDownloadsNothing) {
    const SyncWorkItem item = Item("p", "a.txt", "abc");
    cancel_ = true;
    EXPECT_FALSE(Download(item));
    EXPECT_EQ(error_, TrWide("error.sync_cancelled"));
    EXPECT_EQ(content_.DownloadRequests(), 0);
}

TEST_F(DownloadTest, staleTemporaryFileIsReplaced) {
    const SyncWorkItem item = Item("p", "a.txt", "abc");
    test::WriteFile(WideToPath(LocalPath(item) + std::wstring(kTemporaryFileSuffix)), "stale");
    ASSERT_TRUE(Download(item)) << WideToUtf8(error_);
    EXPECT_EQ(test::ReadFile(WideToPath(LocalPath(item))), "abc");
    EXPECT_FALSE(TemporaryLeft(item));
}

TEST_F(DownloadTest, passwordIsAskedOnceAndSent) {
    const SyncWorkItem item = Item("locked", "a.txt", "abc");
    content_.RequirePassword("locked", "pw");
    int asked = 0;
    std::vector<std::wstring> remembered;
    context_.prompt.ask = [&](const std::string& project, bool retry, std::wstring& password) {
        ++asked;
        EXPECT_EQ(project, "locked");
        EXPECT_FALSE(retry);
        password = L"pw";
        return true;
    };
    context_.prompt.remember = [&](const std::string&, const std::wstring& password) {
        remembered.push_back(password);
    };
    ASSERT_TRUE(Download(item)) << WideToUtf8(error_);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(remembered, std::vector<std::wstring>{L"pw"});
    EXPECT_EQ(content_.Http().Requests().back().Header("X-Project-Password"), "pw");
}

TEST_F(DownloadTest, refusedPromptFailsWithoutRetry) {
    const SyncWorkItem item = Item("locked", "a.txt", "abc");
    content_.RequirePassword("locked", "pw");
    EXPECT_FALSE(Download(item));
    EXPECT_EQ(error_, FillPlaceholders(TrWide("error.project_password_required"), {L"locked"}));
    passwords_.passwords["locked"] = L"wrong";
    context_.prompt.ask = [](const std::string&, bool retry, std::wstring&) {
        EXPECT_TRUE(retry);
        return false;
    };
    EXPECT_FALSE(Download(item));
    EXPECT_EQ(error_, FillPlaceholders(TrWide("error.project_password_invalid"), {L"locked"}));
}

TEST_F(DownloadTest, twoWorkersMeetingAPasswordAskOnce) {
    std::vector<SyncWorkItem> items;
    for (int i = 0; i < 8; ++i) {
        items.push_back(
            Item("locked", "f" + std::to_string(i) + ".txt", "data" + std::to_string(i)));
    }
    content_.RequirePassword("locked", "pw");
    std::atomic<int> asked{0};
    context_.prompt.ask = [&](const std::string&, bool, std::wstring& password) {
        ++asked;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the user types
        password = L"pw";
        return true;
    };
    DownloadStage stage;
    std::wstring error;
    ASSERT_TRUE(RunDownloadStage(items, context_, 2, stage, error)) << WideToUtf8(error);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(stage.filesDone.load(), 8U);
    for (const SyncWorkItem& item : items) {
        EXPECT_FALSE(TemporaryLeft(item));
    }
}

TEST_F(DownloadTest, firstFailureStopsTheStage) {
    std::vector<SyncWorkItem> items{Item("p", "good.txt", "good"), Item("p", "bad.txt", "bad")};
    content_.ScriptDownload("p", "bad.txt", {ScriptedReply::Status(400, "")});
    DownloadStage stage;
    std::wstring error;
    EXPECT_FALSE(RunDownloadStage(items, context_, 1, stage, error));
    EXPECT_EQ(error,
              FillPlaceholders(TrWide("error.download_http_for_file"), {L"400", L"p/bad.txt"}));
}

TEST_F(DownloadTest, verificationCodesTellWhatFailed) {
    const std::wstring path = PathToWide(sandbox_ / "game" / "check.bin");
    std::shared_ptr<const NativeHandle> folder;
    ASSERT_EQ(tree_.OpenFolder(TargetTree::kTop, false, folder).outcome, FolderOutcome::kOpened);
    const auto verify = [&](const FileListEntry& record, std::wstring& error, int& code) {
        return VerifyDownload(record, *folder, "check.bin", path, nullptr, error, code);
    };
    std::wstring error;
    int code = 0;
    EXPECT_FALSE(verify({"x", 3, 0, ""}, error, code));
    EXPECT_EQ(code, 1);
    EXPECT_EQ(error, FillPlaceholders(TrWide("error.downloaded_file_unreadable"), {path}));
    test::WriteFile(sandbox_ / "game" / "check.bin", "abcd");
    EXPECT_FALSE(verify({"x", 3, 0, ""}, error, code));
    EXPECT_EQ(code, 2);
    EXPECT_TRUE(verify({"x", 4, 0, ""}, error, code));
    EXPECT_FALSE(verify({"x", 4, 0, std::string(64, '0')}, error, code));
    EXPECT_EQ(code, 4);
    EXPECT_TRUE(verify({"x", 4, 0, test::ContentServer::Sha256Hex("abcd")}, error, code));
}

}  // namespace
}  // namespace tavrin
