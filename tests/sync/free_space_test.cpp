#include "sync/free_space.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <thread>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/system_error.h"
#include "sync/progress_format.h"
#include "sync/sync_run.h"
#include "tests/support/content_server.h"
#include "tests/support/http_fixture.h"
#include "tests/support/small_volume.h"

namespace tavrin {
namespace {

constexpr std::uint64_t kMiB = 1024 * 1024;

#ifdef _WIN32
constexpr std::uint32_t kDiskFull = 112;  // ERROR_DISK_FULL, as Wine maps ENOSPC too
#else
constexpr std::uint32_t kDiskFull = ENOSPC;
#endif

// Runs whose game folder lies on a small volume of their own, against the content server.
class FreeSpaceTest : public test::HttpTest {
protected:
    FreeSpaceTest() : data_("TAVRIN_DATA_DIR", sandbox_ / "data") {}

    // The game folder on the named small volume; false (and the test skipped) without one.
    bool UseSmallVolume(const std::string& name) {
        std::filesystem::path volume;
        std::string why;
        if (!test::FindSmallVolume(name, volume, why)) {
            skipReason_ = why;
            return false;
        }
        game_ = volume / "game";
        std::filesystem::remove_all(game_);
        std::filesystem::create_directories(game_);
        test::WriteFile(game_ / "AssettoCorsa.exe", "MZ");
        return true;
    }
    void TearDown() override {
        if (!game_.empty()) {
            std::error_code ignored;
            std::filesystem::remove_all(game_, ignored);
        }
        HttpTest::TearDown();
    }

    bool Run(const std::vector<std::string>& projects) {
        ServerSyncRequest request;
        request.serverUrl = content_.Url();
        request.clientId = L"tavrin-0123456789abcdef";
        request.projects = projects;
        request.targetFolder = PathToWide(game_);
        request.cancelFlag = &cancel_;
        SyncRunResult result;
        return RunServerSync(request, result, error_);
    }
    std::uint64_t FreeBytes() const {
        std::uint64_t available = 0;
        std::uint64_t capacity = 0;
        EXPECT_TRUE(test::ReadFolderSpace(game_, available, capacity));
        return available;
    }
    std::vector<std::string> GameFolderEntries() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(game_)) {
            names.push_back(entry.path().lexically_relative(game_).generic_string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    test::ScopedEnvironment data_;
    test::ContentServer content_;
    std::atomic<bool> cancel_{false};
    std::filesystem::path game_;
    std::wstring error_;
    std::string skipReason_;
};

TEST_F(FreeSpaceTest, aListLargerThanTheVolumeStopsBeforeTheFirstByte) {
    if (!UseSmallVolume("refused")) {
        GTEST_SKIP() << skipReason_;
    }
    for (int file = 0; file < 3; ++file) {
        content_.AddFile("Pack", "content/cars/car" + std::to_string(file) + ".kn5",
                         std::string(kMiB, static_cast<char>('a' + file)));
    }
    const std::uint64_t free = FreeBytes();
    EXPECT_FALSE(Run({"Pack"}));
    EXPECT_EQ(WideToUtf8(error_),
              WideToUtf8(
                  FillPlaceholders(TrWide("error.not_enough_space"),
                                   {PathToWide(game_), FormatBytes(4 * kMiB), FormatBytes(free)})));
    EXPECT_EQ(content_.DownloadRequests(), 0);
    EXPECT_EQ(GameFolderEntries(), std::vector<std::string>{"AssettoCorsa.exe"});
}

// The files fit, but not the largest beside its own temporary file.
TEST_F(FreeSpaceTest, theLargestFileCountsTwiceForItsTemporaryFile) {
    if (!UseSmallVolume("largest_twice")) {
        GTEST_SKIP() << skipReason_;
    }
    content_.AddFile("Pack", "content/track.kn5", std::string(kMiB, 't'));
    content_.AddFile("Pack", "content/track.ini", std::string(kMiB / 4, 'i'));
    const std::uint64_t free = FreeBytes();
    ASSERT_LT(kMiB + kMiB / 4, free);
    EXPECT_FALSE(Run({"Pack"}));
    EXPECT_EQ(WideToUtf8(error_),
              WideToUtf8(FillPlaceholders(
                  TrWide("error.not_enough_space"),
                  {PathToWide(game_), FormatBytes(2 * kMiB + kMiB / 4), FormatBytes(free)})));
    EXPECT_EQ(content_.DownloadRequests(), 0);
}

// Another program fills the disk after the check: the write fails, and says which file and why.
TEST_F(FreeSpaceTest, aDiskFilledDuringTheDownloadNamesTheFileAndTheReason) {
    if (!UseSmallVolume("filled")) {
        GTEST_SKIP() << skipReason_;
    }
    test::WriteFile(game_ / "car.kn5", "the player's old file");
    content_.AddFile("Pack", "car.kn5", std::string(3 * kMiB / 4, 'n'));
    content_.DelayDownload("Pack", "car.kn5", 400);
    std::thread filler([this] {
        const auto temporary = game_ / ("car.kn5" + WideToUtf8(kTemporaryFileSuffix));
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!std::filesystem::exists(temporary) && std::chrono::steady_clock::now() < until) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        std::ofstream fill(game_ / "filler.bin", std::ios::binary);
        const std::string block(64 * 1024, 'f');
        while (fill.write(block.data(), static_cast<std::streamsize>(block.size())) &&
               fill.flush()) {
        }
    });
    EXPECT_FALSE(Run({"Pack"}));
    filler.join();
    EXPECT_EQ(WideToUtf8(error_),
              WideToUtf8(
                  FillPlaceholders(FormatSystemError("error.file_write_failed_for_file", kDiskFull),
                                   {PathToWide(game_ / "car.kn5")})));
    EXPECT_EQ(test::ReadFile(game_ / "car.kn5"), "the player's old file");
    EXPECT_EQ(GameFolderEntries(),
              (std::vector<std::string>{"AssettoCorsa.exe", "car.kn5", "filler.bin"}));
}

// Every download counts on the volume of its nearest folder that exists, the largest twice.
TEST_F(FreeSpaceTest, needsAddUpPerVolumeUnderTheGameFolder) {
    game_ = sandbox_ / "game";
    std::filesystem::create_directories(game_ / "content");
    TargetTree tree;
    std::wstring error;
    ASSERT_TRUE(tree.Open(PathToWide(game_), error)) << WideToUtf8(error);
    const std::uint32_t content = tree.Child(TargetTree::kTop, "content");
    const std::uint32_t missing = tree.Child(tree.Child(content, "cars"), "new");
    std::vector<SyncWorkItem> items;
    items.push_back({"a", {"a.txt", 100, 0.0, ""}, {TargetTree::kTop, "a.txt"}});
    items.push_back({"a", {"content/b.txt", 700, 0.0, ""}, {content, "b.txt"}});
    items.push_back({"a", {"content/cars/new/c.txt", 300, 0.0, ""}, {missing, "c.txt"}});
    const std::vector<VolumeNeed> needs = GatherVolumeNeeds(tree, items);
    ASSERT_EQ(needs.size(), 1U);
    EXPECT_EQ(needs[0].folder, PathToWide(game_));
    EXPECT_EQ(needs[0].bytes, 1100U);
    EXPECT_EQ(needs[0].largest, 700U);
    EXPECT_EQ(needs[0].Needed(), 1800U);
    EXPECT_GT(needs[0].freeBytes, 0U);
    EXPECT_FALSE(std::filesystem::exists(game_ / "content" / "cars"));  // nothing was made
}

}  // namespace
}  // namespace tavrin
