#include "sync/compare.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/progress.h"
#include "sync/sha256.h"
#include "tests/support/address_space_limit.h"
#include "tests/support/file_time.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

constexpr const char* kAbcDigest =
    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr const char* kEmptyDigest =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

class CompareTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::wstring error;
        ASSERT_TRUE(tree_.Open(PathToWide(sandbox_.Root()), error)) << WideToUtf8(error);
    }
    std::wstring WritePath(const char* name, const std::string& bytes) {
        test::WriteFile(sandbox_ / name, bytes);
        return PathToWide(sandbox_ / name);
    }
    // A file directly in the game folder, as the run resolves it.
    TreeFile Write(const char* name, const std::string& bytes) {
        WritePath(name, bytes);
        return At(name);
    }
    static TreeFile At(const char* name) { return {TargetTree::kTop, name}; }
    std::wstring PathOf(const TreeFile& file) const { return PathToWide(sandbox_ / file.leaf); }
    double Mtime(const TreeFile& file) const {
        double seconds = 0;
        EXPECT_TRUE(test::ReadLocalFileTime(PathOf(file), seconds));
        return seconds;
    }
    test::Sandbox sandbox_;
    TargetTree tree_;
    std::wstring poolError_;  // a comparison pool's reason for stopping
};

TEST_F(CompareTest, sha256MatchesKnownDigests) {
    std::string digest;
    std::wstring error;
    ASSERT_TRUE(Sha256File(WritePath("abc", "abc"), digest, error)) << WideToUtf8(error);
    EXPECT_EQ(digest, kAbcDigest);
    ASSERT_TRUE(Sha256File(WritePath("empty", ""), digest, error));
    EXPECT_EQ(digest, kEmptyDigest);
    // Longer than one 64 KiB read: one million "a" has a published digest.
    ASSERT_TRUE(Sha256File(WritePath("million", std::string(1000000, 'a')), digest, error));
    EXPECT_EQ(digest, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST_F(CompareTest, sha256OfAMissingFileSaysWhy) {
    std::string digest;
    std::wstring error;
    EXPECT_FALSE(Sha256File(PathToWide(sandbox_ / "missing"), digest, error));
    EXPECT_EQ(error.rfind(TrWide("error.sha_file_open_failed") + L" (", 0), 0U)
        << WideToUtf8(error);
}

TEST_F(CompareTest, eachThreadHashesWithItsOwnState) {
    const std::wstring path = WritePath("abc", "abc");
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 50; ++j) {
                std::string digest;
                std::wstring error;
                if (Sha256File(path, digest, error) && digest == kAbcDigest) {
                    ++right;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, 200);
}

TEST_F(CompareTest, missingFileIsDownloaded) {
    std::wstring warning;
    EXPECT_TRUE(NeedsDownload({"a", 3, 0, ""}, tree_, At("missing"), nullptr, warning));
    EXPECT_TRUE(warning.empty());
}

TEST_F(CompareTest, otherSizeIsDownloaded) {
    std::wstring warning;
    EXPECT_TRUE(NeedsDownload({"a", 4, 0, kAbcDigest}, tree_, Write("a", "abc"), nullptr, warning));
}

TEST_F(CompareTest, rightSizeWithoutDigestIsUpToDateAndGetsTheServersTime) {
    const TreeFile path = Write("a", "xyz");
    std::wstring warning;
    EXPECT_FALSE(NeedsDownload({"a", 3, 1500000000.25, ""}, tree_, path, nullptr, warning));
    EXPECT_NEAR(Mtime(path), 1500000000.25, 1e-6);
}

TEST_F(CompareTest, rightDigestWithAnotherTimeIsUpToDateAndTheTimeIsCorrected) {
    const TreeFile path = Write("a", "abc");
    test::SetLocalFileTime(PathOf(path), 1000);
    std::wstring warning;
    EXPECT_FALSE(NeedsDownload({"a", 3, 1600000000.5, kAbcDigest}, tree_, path, nullptr, warning));
    EXPECT_NEAR(Mtime(path), 1600000000.5, 1e-6);
}

TEST_F(CompareTest, upperCaseDigestsCompareEqual) {
    std::string upper = kAbcDigest;
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    std::wstring warning;
    EXPECT_FALSE(NeedsDownload({"a", 3, 0, upper}, tree_, Write("a", "abc"), nullptr, warning));
}

TEST_F(CompareTest, sameSizeOtherDigestIsDownloadedAndTheFileLeftAlone) {
    const TreeFile path = Write("a", "abd");
    test::SetLocalFileTime(PathOf(path), 1000);
    std::wstring warning;
    EXPECT_TRUE(NeedsDownload({"a", 3, 5000, kAbcDigest}, tree_, path, nullptr, warning));
    EXPECT_EQ(test::ReadFile(sandbox_ / "a"), "abd");
    EXPECT_NEAR(Mtime(path), 1000, 1e-6);
}

TEST_F(CompareTest, serverTimeBelowZeroBecomes1970) {
    const TreeFile path = Write("a", "abc");
    test::SetLocalFileTime(PathOf(path), -50);
    EXPECT_NEAR(Mtime(path), 0.0, 1e-6);
}

TEST_F(CompareTest, cancelFlagIsReportedAsTheWarning) {
    std::atomic<bool> cancel{true};
    std::wstring warning;
    EXPECT_TRUE(NeedsDownload({"a", 3, 0, kAbcDigest}, tree_, Write("a", "abc"), &cancel, warning));
    EXPECT_EQ(warning, TrWide("error.sync_cancelled"));
}

TEST(ComparisonPoolTest, threadCountFollowsTheWork) {
    EXPECT_EQ(ComparisonThreadCount(0), 0U);
    EXPECT_EQ(ComparisonThreadCount(1), 1U);
    const unsigned hardware = std::thread::hardware_concurrency();
    const unsigned expected = std::min(8U, std::max(1U, hardware == 0 ? 2U : hardware));
    EXPECT_EQ(ComparisonThreadCount(1000), expected);
}

TEST_F(CompareTest, poolSortsFilesIntoUpToDateAndToDownload) {
    std::vector<SyncWorkItem> items;
    items.push_back({"p", {"same", 3, 0, kAbcDigest}, Write("same", "abc")});
    items.push_back({"p", {"changed", 3, 0, kAbcDigest}, Write("changed", "abd")});
    items.push_back({"p", {"missing", 10, 0, ""}, At("missing")});
    ComparisonState state;
    state.ResetForProject(items.size());
    std::vector<SyncWorkItem> downloads;
    std::mutex mutex;
    std::vector<ProgressMessage> reports;
    std::mutex reportsMutex;
    state.sinks.progress = [&](const ProgressMessage& message) {
        std::lock_guard lock(reportsMutex);
        reports.push_back(message);
    };
    ASSERT_TRUE(RunComparisonPool(items, tree_, state, nullptr, downloads, mutex, poolError_));
    EXPECT_EQ(state.filesUpToDate.load(), 1U);
    EXPECT_EQ(state.filesToDownload.load(), 2U);
    EXPECT_EQ(state.bytesToDownload.load(), 13U);
    EXPECT_EQ(state.filesCompared.load(), 3U);
    ASSERT_EQ(downloads.size(), 2U);
    // The last file always reports, whatever the throttle.
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back().done, 3U);
    EXPECT_EQ(reports.back().total, 3U);
    EXPECT_TRUE(reports.back().comparing);
}

TEST_F(CompareTest, oneFileProjectAlwaysReportsItsComparison) {
    std::vector<SyncWorkItem> items{{"p", {"same", 3, 0, kAbcDigest}, Write("same", "abc")}};
    ComparisonState state;
    state.ResetForProject(1);
    ReportCompareProgress(state, L"start", true);  // the throttle has just reported
    std::vector<ProgressMessage> reports;
    state.sinks.progress = [&](const ProgressMessage& message) { reports.push_back(message); };
    std::vector<SyncWorkItem> downloads;
    std::mutex mutex;
    ASSERT_TRUE(RunComparisonPool(items, tree_, state, nullptr, downloads, mutex, poolError_));
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].done, 1U);
    EXPECT_EQ(reports[0].currentFile, L"same");
}

TEST(CompareProgressTest, projectionExtrapolatesFromWhatWasSeen) {
    ComparisonState state;
    state.ResetForProject(10);
    state.filesCompared = 4;
    state.filesToDownload = 2;
    state.bytesToDownload = 200;
    state.bytesCompared = 400;
    std::vector<ProgressMessage> reports;
    state.sinks.progress = [&](const ProgressMessage& message) { reports.push_back(message); };
    ReportCompareProgress(state, L"x", true);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].expectedFiles, 2U + 3U);      // 2 + round(2/4 * 6)
    EXPECT_EQ(reports[0].expectedBytes, 200U + 300U);  // 200 + round(400/4 * 2/4 * 6)
}

TEST_F(CompareTest, emptyListStartsNoThreadAndSucceeds) {
    ComparisonState state;
    state.ResetForProject(0);
    std::vector<SyncWorkItem> downloads;
    std::mutex mutex;
    EXPECT_TRUE(RunComparisonPool({}, tree_, state, nullptr, downloads, mutex, poolError_));
    EXPECT_TRUE(downloads.empty());
}

TEST_F(CompareTest, cancelledPoolStopsAndCountsNothing) {
    std::vector<SyncWorkItem> items{{"p", {"a", 3, 0, kAbcDigest}, Write("a", "abc")}};
    std::atomic<bool> cancel{true};
    ComparisonState state;
    state.ResetForProject(1);
    std::vector<SyncWorkItem> downloads;
    std::mutex mutex;
    EXPECT_FALSE(RunComparisonPool(items, tree_, state, &cancel, downloads, mutex, poolError_));
    EXPECT_EQ(state.filesCompared.load(), 0U);
}

TEST_F(CompareTest, aThreadTheSystemRefusesFailsThePoolWithItsReason) {
#ifndef TAVRIN_CAN_LIMIT_ADDRESS_SPACE
    GTEST_SKIP() << test::kNoAddressSpaceLimit;
#else
    std::vector<SyncWorkItem> items{{"p", {"a", 3, 0, kAbcDigest}, Write("a", "abc")},
                                    {"p", {"b", 3, 0, kAbcDigest}, Write("b", "abc")}};
    ComparisonState state;
    state.ResetForProject(items.size());
    std::vector<SyncWorkItem> downloads;
    std::mutex mutex;
    bool ran = false;
    {
        test::AddressSpaceLimit limit;
        ASSERT_TRUE(limit.Active());
        ran = RunComparisonPool(items, tree_, state, nullptr, downloads, mutex, poolError_);
    }
    EXPECT_FALSE(ran);
    const std::wstring prefix = FillPlaceholders(TrWide("error.thread_start_failed"), {L"", L""});
    EXPECT_EQ(poolError_.rfind(prefix.substr(0, prefix.find(L':')), 0), 0U)
        << WideToUtf8(poolError_);
    EXPECT_TRUE(downloads.empty());
#endif
}

}  // namespace
}  // namespace tavrin
