#include "sync/dropped_files.h"

#include <gtest/gtest.h>

#include <mutex>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/sync_run.h"
#include "tests/support/content_server.h"
#include "tests/support/http_fixture.h"

namespace tavrin {
namespace {

// Runs against the content server whose second list drops files the first one named.
class DroppedFilesTest : public test::HttpTest {
protected:
    DroppedFilesTest() : data_("TAVRIN_DATA_DIR", sandbox_ / "data") {}

    void SetUp() override {
        HttpTest::SetUp();
        std::filesystem::create_directories(sandbox_ / "game" / "content");
        test::WriteFile(sandbox_ / "game" / "AssettoCorsa.exe", "MZ");
    }

    ServerSyncRequest Request() {
        ServerSyncRequest request;
        request.serverUrl = content_.Url();
        request.clientId = L"tavrin-0123456789abcdef";
        request.projects = {"Pack"};
        request.targetFolder = PathToWide(sandbox_ / "game");
        request.sinks.log = [this](const std::wstring& line) {
            std::lock_guard lock(mutex_);
            log_.push_back(WideToUtf8(line));
        };
        request.sinks.dropped = [this](const std::string& project,
                                       const std::vector<std::string>& paths) {
            std::lock_guard lock(mutex_);
            events_.emplace_back(project, paths);
        };
        return request;
    }
    bool Run() {
        log_.clear();
        events_.clear();
        SyncRunResult result;
        return RunServerSync(Request(), result, error_);
    }
    // The log from the line that announces dropped files on, as many lines as asked.
    std::vector<std::string> DroppedLog(std::size_t lines) const {
        const std::string head =
            WideToUtf8(FillPlaceholders(TrWide("log.dropped_files"), {L"Pack", L"*"}).substr(0, 6));
        for (std::size_t i = 0; i < log_.size(); ++i) {
            if (log_[i].rfind(head, 0) == 0) {
                return {
                    log_.begin() + static_cast<std::ptrdiff_t>(i),
                    log_.begin() + static_cast<std::ptrdiff_t>(std::min(log_.size(), i + lines))};
            }
        }
        return {};
    }
    std::string Local(const std::string& path) const {
        return test::ReadFile(sandbox_ / "game" / test::Utf8Path(path));
    }

    test::ScopedEnvironment data_;
    test::ContentServer content_;
    std::wstring error_;
    std::mutex mutex_;
    std::vector<std::string> log_;
    std::vector<std::pair<std::string, std::vector<std::string>>> events_;
};

TEST_F(DroppedFilesTest, twoFilesTheSecondListDropsAreLoggedReportedAndKept) {
    content_.AddFile("Pack", "content/cars/a/data.acd", "a");
    content_.AddFile("Pack", "content/cars/b/data.acd", "b");
    content_.AddFile("Pack", "content/cars/c/data.acd", "c");
    ASSERT_TRUE(Run()) << WideToUtf8(error_);
    EXPECT_TRUE(events_.empty());  // a first list drops nothing
    content_.RemoveFromList("Pack", "content/cars/b/data.acd");
    content_.RemoveFromList("Pack", "content/cars/c/data.acd");
    ASSERT_TRUE(Run()) << WideToUtf8(error_);
    const std::string announce =
        WideToUtf8(FillPlaceholders(TrWide("log.dropped_files"), {L"Pack", L"2"}));
    EXPECT_EQ(
        DroppedLog(4),
        (std::vector<std::string>{
            announce, "    content/cars/b/data.acd", "    content/cars/c/data.acd",
            WideToUtf8(FillPlaceholders(TrWide("log.project_summary"), {L"Pack", L"1", L"0"}))}));
    ASSERT_EQ(events_.size(), 1U);
    EXPECT_EQ(events_[0].first, "Pack");
    EXPECT_EQ(events_[0].second,
              (std::vector<std::string>{"content/cars/b/data.acd", "content/cars/c/data.acd"}));
    EXPECT_EQ(Local("content/cars/b/data.acd"), "b");
    EXPECT_EQ(Local("content/cars/c/data.acd"), "c");

    // The next run finds nothing new; the listing still names both.
    ASSERT_TRUE(Run()) << WideToUtf8(error_);
    EXPECT_TRUE(events_.empty());
    std::vector<std::string> listed;
    ASSERT_TRUE(ListDroppedFiles(Request(), listed, error_)) << WideToUtf8(error_);
    EXPECT_EQ(listed,
              (std::vector<std::string>{"content/cars/b/data.acd", "content/cars/c/data.acd"}));
}

TEST_F(DroppedFilesTest, theLogNamesTwentyAndCountsTheRest) {
    for (int file = 0; file < 25; ++file) {
        content_.AddFile("Pack", "content/f" + std::to_string(100 + file) + ".ini", "x");
    }
    ASSERT_TRUE(Run()) << WideToUtf8(error_);
    for (int file = 0; file < 25; ++file) {
        content_.RemoveFromList("Pack", "content/f" + std::to_string(100 + file) + ".ini");
    }
    ASSERT_TRUE(Run()) << WideToUtf8(error_);
    const std::vector<std::string> lines = DroppedLog(23);
    ASSERT_EQ(lines.size(), 23U);
    EXPECT_EQ(lines[0],
              WideToUtf8(FillPlaceholders(TrWide("log.dropped_files"), {L"Pack", L"25"})));
    EXPECT_EQ(lines[1], "    content/f100.ini");
    EXPECT_EQ(lines[20], "    content/f119.ini");
    EXPECT_EQ(lines[21],
              "    " + WideToUtf8(FillPlaceholders(TrWide("log.dropped_files_more"), {L"5"})));
    ASSERT_EQ(events_.size(), 1U);
    EXPECT_EQ(events_[0].second.size(), 25U);
}

// Only what is still on disk counts: a dropped file the player deleted, or one listed again,
// leaves the record.
TEST_F(DroppedFilesTest, filesGoneFromDiskOrListedAgainLeaveTheRecord) {
    content_.AddFile("Pack", "keep.txt", "k");
    content_.AddFile("Pack", "gone.txt", "g");
    content_.AddFile("Pack", "back.txt", "b");
    ASSERT_TRUE(Run()) << WideToUtf8(error_);
    content_.RemoveFromList("Pack", "keep.txt");
    content_.RemoveFromList("Pack", "gone.txt");
    content_.RemoveFromList("Pack", "back.txt");
    std::filesystem::remove(sandbox_ / "game" / "gone.txt");
    ASSERT_TRUE(Run()) << WideToUtf8(error_);
    ASSERT_EQ(events_.size(), 1U);
    EXPECT_EQ(events_[0].second, (std::vector<std::string>{"back.txt", "keep.txt"}));
    content_.AddFile("Pack", "back.txt", "b");
    std::vector<std::string> listed;
    ASSERT_TRUE(ListDroppedFiles(Request(), listed, error_)) << WideToUtf8(error_);
    EXPECT_EQ(listed, std::vector<std::string>{"keep.txt"});
}

TEST(UnlistedPathsTest, pathsOfTheOldListMissingFromTheNewOneInTheirOrder) {
    const std::vector<FileListEntry> previous = {
        {"a.txt", 1, 0.0, ""}, {"b.txt", 1, 0.0, ""}, {"c.txt", 1, 0.0, ""}, {"b.txt", 1, 0.0, ""}};
    const std::vector<FileListEntry> current = {{"c.txt", 1, 0.0, ""}};
    EXPECT_EQ(UnlistedPaths(previous, current), (std::vector<std::string>{"a.txt", "b.txt"}));
}

}  // namespace
}  // namespace tavrin
