#include "sync/progress_format.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

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
