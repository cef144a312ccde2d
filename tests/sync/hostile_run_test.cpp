// Whole runs against a hostile server: names cut short by a NUL, paths too long for any file
// system, and a cancel raised in each phase of a run.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/path_status.h"
#include "sync/progress.h"
#include "sync/sync_run.h"
#include "tests/support/content_server.h"
#include "tests/support/http_fixture.h"

namespace tavrin {
namespace {

using Clock = std::chrono::steady_clock;

class HostileRunTest : public test::HttpTest {
protected:
    HostileRunTest() : data_("TAVRIN_DATA_DIR", sandbox_ / "data") {}

    void SetUp() override {
        HttpTest::SetUp();
        std::filesystem::create_directories(sandbox_ / "game" / "content");
        sinks_.progress = [this](const ProgressMessage& message) {
            if (cancelWhen_ && cancelWhen_(message) && !armed_.exchange(true)) {
                raiser_ = std::thread([this] { RaiseCancel(); });
            }
        };
    }
    void TearDown() override {
        if (raiser_.joinable()) {
            raiser_.join();
        }
        HttpTest::TearDown();
    }
    // The cancel comes from another thread, as the window's stop button does, `cancelDelay_`
    // after the moment `cancelWhen_` picks.
    void RaiseCancel() {
        std::this_thread::sleep_for(cancelDelay_);
        std::lock_guard lock(mutex_);
        cancelledAt_ = Clock::now();
        cancel_ = true;
    }

    bool Run(const std::string& project) {
        ServerSyncRequest request;
        request.sinks = sinks_;
        request.serverUrl = content_.Url();
        request.projects = {project};
        request.targetFolder = PathToWide(sandbox_ / "game");
        request.cancelFlag = &cancel_;
        result_ = {};
        const bool ok = RunServerSync(request, result_, error_);
        endedAt_ = Clock::now();
        return ok;
    }
    std::wstring Refused(std::string_view key, const std::wstring& path) const {
        return FillPlaceholders(TrWide("error.project_prefix_with_details"),
                                {L"p", FillPlaceholders(TrWide(key), {path})});
    }
    // From the cancel to the run's end.
    double SecondsAfterCancel() {
        std::lock_guard lock(mutex_);
        EXPECT_TRUE(cancelledAt_.has_value()) << "the cancel was never raised";
        return cancelledAt_ ? std::chrono::duration<double>(endedAt_ - *cancelledAt_).count() : 1e9;
    }
    std::size_t FilesInGame() const {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(sandbox_ / "game")) {
            count += entry.is_regular_file() ? 1 : 0;
        }
        return count;
    }

    test::ScopedEnvironment data_;
    test::ContentServer content_;
    std::atomic<bool> cancel_{false};
    std::function<bool(const ProgressMessage&)> cancelWhen_;
    std::chrono::milliseconds cancelDelay_{0};
    ProgressSinks sinks_;
    std::atomic<bool> armed_{false};
    std::thread raiser_;
    std::mutex mutex_;
    std::optional<Clock::time_point> cancelledAt_;
    Clock::time_point endedAt_;
    SyncRunResult result_;
    std::wstring error_;
};

TEST_F(HostileRunTest, escapedNulInAPathIsRefusedBeforeAnyDownload) {
    content_.AddFile("p", "good.dds", "good");
    content_.AddRawRecord("p", R"({"relative_path":"evil.exe\u0000.dds","size":1,"hash":""})");
    EXPECT_FALSE(Run("p"));
    EXPECT_EQ(error_, Refused("error.unsafe_server_file_path", Utf8ToWide({"evil.exe\0.dds", 13})));
    EXPECT_EQ(content_.DownloadRequests(), 0);
    EXPECT_EQ(FilesInGame(), 0U);
}

TEST_F(HostileRunTest, rawNulByteInAPathIsRefusedBeforeAnyDownload) {
    content_.AddFile("p", "good.dds", "good");
    content_.AddRawRecord(
        "p", std::string(R"({"relative_path":"evil.exe)") + '\0' + R"(.dds","size":1,"hash":""})");
    EXPECT_FALSE(Run("p"));
    // The file-list reader may refuse the raw byte itself; either way nothing lands.
    EXPECT_FALSE(error_.empty());
    EXPECT_EQ(content_.DownloadRequests(), 0);
    EXPECT_EQ(FilesInGame(), 0U);
    EXPECT_FALSE(std::filesystem::exists(sandbox_ / "game" / "evil.exe"));
}

TEST_F(HostileRunTest, pathOfHalfAMillionLevelsIsRefusedAtOnce) {
    std::string path;
    for (int i = 0; i < 500000; ++i) {
        path += "a/";
    }
    path += "x.dds";
    content_.AddFile("p", "good.dds", "good");
    content_.AddRawRecord("p", R"({"relative_path":")" + path + R"(","size":1,"hash":""})");
    const auto started = Clock::now();
    EXPECT_FALSE(Run("p"));
    // Linear work on 1 MB: well under a second here; the bound only catches a quadratic walk.
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - started).count(), 10.0);
    EXPECT_EQ(error_, Refused("error.unsafe_server_file_path", Utf8ToWide(path)));
    EXPECT_EQ(content_.DownloadRequests(), 0);
    EXPECT_FALSE(std::filesystem::exists(sandbox_ / "game" / "a"));
}

TEST_F(HostileRunTest, cancelDuringResolutionEndsTheRunWithinASecond) {
    for (int i = 0; i < 2000; ++i) {
        content_.AddFile("p", "content/f" + std::to_string(i % 50) + "/" + std::to_string(i), "");
    }
    // The project's own report comes right before its paths are resolved.
    cancelWhen_ = [](const ProgressMessage& message) { return message.currentFile == L"p"; };
    EXPECT_FALSE(Run("p"));
    EXPECT_EQ(error_, TrWide("error.sync_cancelled"));
    EXPECT_LT(SecondsAfterCancel(), 1.0);
    EXPECT_EQ(result_.filesUpToDate, 0U);
    EXPECT_EQ(content_.DownloadRequests(), 0);
}

TEST_F(HostileRunTest, cancelWhileHashingALargeFileEndsTheRunWithinASecond) {
    // A sparse file of 4 GiB of the listed size takes seconds to hash; the cancel comes
    // 300 ms into it and is seen before the next 64 KiB block.
    const std::uint64_t size = 4ULL << 30;
    content_.AddRawRecord("p", R"({"relative_path":"content/huge.bin","size":)" +
                                   std::to_string(size) + R"(,"hash":")" + std::string(64, '0') +
                                   R"("})");
    test::WriteFile(sandbox_ / "game" / "content" / "huge.bin", "");
    std::filesystem::resize_file(sandbox_ / "game" / "content" / "huge.bin", size);
    cancelWhen_ = [](const ProgressMessage& message) { return message.currentFile == L"p"; };
    cancelDelay_ = std::chrono::milliseconds(300);
    EXPECT_FALSE(Run("p"));
    EXPECT_EQ(error_, TrWide("error.sync_cancelled"));
    EXPECT_LT(SecondsAfterCancel(), 1.0);
    EXPECT_EQ(content_.DownloadRequests(), 0);
}

TEST_F(HostileRunTest, cancelDuringADownloadEndsTheRunWithinASecondAndKeepsTheOldFile) {
    test::WriteFile(sandbox_ / "game" / "content" / "slow.bin", "old");
    const std::string bytes(1 << 20, 's');
    content_.AddFile("p", "content/slow.bin", bytes);
    test::ScriptedReply slow;
    slow.body = bytes;
    slow.dripBytes = 4096;
    slow.dripIntervalMs = 50;
    content_.ScriptDownload("p", "content/slow.bin", {slow});
    cancelWhen_ = [](const ProgressMessage& message) { return !message.comparing; };
    cancelDelay_ = std::chrono::milliseconds(300);
    EXPECT_FALSE(Run("p"));
    EXPECT_EQ(error_, TrWide("error.sync_cancelled"));
    EXPECT_LT(SecondsAfterCancel(), 1.0);
    EXPECT_EQ(test::ReadFile(sandbox_ / "game" / "content" / "slow.bin"), "old");
    EXPECT_FALSE(std::filesystem::exists(sandbox_ / "game" / "content" / "slow.bin.tavrin_tmp"));
}

}  // namespace
}  // namespace tavrin
