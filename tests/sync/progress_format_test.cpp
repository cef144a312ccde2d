#include "sync/progress_format.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

#include "i18n/translator.h"

namespace tavrin {
namespace {

TEST(FormatBytesTest, bytesHaveNoDecimals) {
    EXPECT_EQ(FormatBytes(0), L"0 B");
    EXPECT_EQ(FormatBytes(1), L"1 B");
    EXPECT_EQ(FormatBytes(1023), L"1023 B");
}

TEST(FormatBytesTest, largerUnitsHaveTwoDecimalsInStepsOf1024) {
    EXPECT_EQ(FormatBytes(1024), L"1.00 KB");
    EXPECT_EQ(FormatBytes(1536), L"1.50 KB");
    EXPECT_EQ(FormatBytes(1048575), L"1024.00 KB");  // rounds in the text, not the unit
    EXPECT_EQ(FormatBytes(1048576), L"1.00 MB");
    EXPECT_EQ(FormatBytes(1073741824ULL), L"1.00 GB");
    EXPECT_EQ(FormatBytes(1099511627776ULL), L"1.00 TB");
    EXPECT_EQ(FormatBytes(5ULL * 1073741824ULL / 2), L"2.50 GB");
}

TEST(FormatBytesTest, terabytesIsTheLargestUnit) {
    EXPECT_EQ(FormatBytes(1125899906842624ULL), L"1024.00 TB");
    EXPECT_EQ(FormatBytes(std::numeric_limits<std::uint64_t>::max()), L"16777216.00 TB");
}

TEST(FormatBytesTest, decimalPointIgnoresTheProcessLocale) {
    const std::string saved = std::setlocale(LC_ALL, nullptr);
    const char* german = std::setlocale(LC_ALL, "de_DE.UTF-8");
    if (german == nullptr) {
        german = std::setlocale(LC_ALL, "German_Germany.1252");
    }
    if (german == nullptr || std::localeconv()->decimal_point[0] != ',') {
        std::setlocale(LC_ALL, saved.c_str());
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    }
    const std::wstring text = FormatBytes(1536);
    std::setlocale(LC_ALL, saved.c_str());
    EXPECT_EQ(text, L"1.50 KB");
}

TEST(FormatEtaTest, roundsToWholeSeconds) {
    EXPECT_EQ(FormatEta(3725.4), L"01:02:05");
    EXPECT_EQ(FormatEta(3725.5), L"01:02:06");
    EXPECT_EQ(FormatEta(0.0), L"00:00:00");
    EXPECT_EQ(FormatEta(59.6), L"00:01:00");
}

TEST(FormatEtaTest, hoursGrowBeyondTwoDigits) {
    EXPECT_EQ(FormatEta(100.0 * 3600.0), L"100:00:00");
    EXPECT_EQ(FormatEta(12345.0 * 3600.0 + 61.0), L"12345:01:01");
}

TEST(FormatEtaTest, unknownTimesGiveDashes) {
    EXPECT_EQ(FormatEta(-1.0), L"--:--:--");
    EXPECT_EQ(FormatEta(-0.1), L"--:--:--");
    EXPECT_EQ(FormatEta(std::numeric_limits<double>::infinity()), L"--:--:--");
    EXPECT_EQ(FormatEta(std::numeric_limits<double>::quiet_NaN()), L"--:--:--");
    EXPECT_EQ(FormatEta(1e300), L"--:--:--");
}

}  // namespace
}  // namespace tavrin

namespace tavrin {
namespace {

TEST(ProgressTextTest, comparisonCountsWithAndWithoutAProjection) {
    ProgressMessage message;
    message.comparing = true;
    message.done = 3;
    message.total = 10;
    const std::wstring files = TrWide("progress.files_suffix");
    EXPECT_EQ(FormatProgressCounts(message), TrWide("progress.compare_progress") + L"3/10" + files);
    message.expectedBytes = 1536;
    message.expectedFiles = 2;
    EXPECT_EQ(FormatProgressCounts(message), TrWide("progress.compare_progress") + L"3/10" + files +
                                                 TrWide("progress.expected_download") +
                                                 L"1.50 KB (2" + files + L")");
}

TEST(ProgressTextTest, downloadCountsShowBytesAndFiles) {
    ProgressMessage message;
    message.done = 1;
    message.total = 4;
    message.bytesDone = 1048576;
    message.bytesTotal = 3145728;
    EXPECT_EQ(FormatProgressCounts(message), TrWide("progress.data_progress") +
                                                 L"1.00 MB / 3.00 MB (1/4" +
                                                 TrWide("progress.files_suffix") + L")");
}

TEST(ProgressTextTest, emptyCurrentFileShowsNone) {
    ProgressMessage message;
    EXPECT_EQ(FormatCurrentFile(message), TrWide("progress.current_file") + TrWide("common.none"));
    message.comparing = true;
    message.currentFile = L"cars/x.kn5";
    EXPECT_EQ(FormatCurrentFile(message), TrWide("progress.comparing_file") + L"cars/x.kn5");
}

TEST(ProgressTextTest, ratesForBothPhases) {
    ProgressMessage message;
    message.bytesDone = 3 * 1048576;
    message.elapsedSeconds = 2.0;
    EXPECT_EQ(FormatRate(message), TrWide("progress.download_speed") + L"1.50 MB/s");
    message.elapsedSeconds = 0.0;
    EXPECT_EQ(FormatRate(message), TrWide("progress.download_speed") + L"0 B/s");
    message.comparing = true;
    message.done = 5;
    message.elapsedSeconds = 2.0;
    EXPECT_EQ(FormatRate(message), TrWide("progress.status_compare") + L" (2.50" +
                                       TrWide("progress.files_per_second") + L")");
}

}  // namespace
}  // namespace tavrin
