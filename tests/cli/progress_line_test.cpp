#include "cli/progress_line.h"

#include <gtest/gtest.h>

#include "cli/cli_output.h"
#include "i18n/translator.h"

namespace tavrin::cli {
namespace {

ProgressLineParts Downloading() {
    ProgressLineParts parts;
    parts.done = 50;
    parts.total = 200;
    parts.counts = "Downloaded: 50/200 files, 12.50 MB of 50.00 MB";
    parts.rate = "Speed: 4.20 MB/s";
    parts.remainingTime = "00:00:09";
    return parts;
}

TEST(ProgressLineTest, wideTerminalShowsTheFullBarAndEveryPiece) {
    EXPECT_EQ(FitProgressLine(Downloading(), 120),
              "[######------------------] Downloaded: 50/200 files, 12.50 MB of 50.00 MB  "
              "Speed: 4.20 MB/s  00:00:09");
}

TEST(ProgressLineTest, neverReachesTheLastColumnAtAnyWidth) {
    for (int columns = 1; columns <= 200; ++columns) {
        const std::string line = FitProgressLine(Downloading(), columns);
        EXPECT_LE(TerminalWidthOf(line), static_cast<std::size_t>(std::max(columns - 1, 1)))
            << columns << " columns: " << line;
        EXPECT_EQ(line.find('\n'), std::string::npos);
    }
}

TEST(ProgressLineTest, barNarrowsBeforeAnyTextGoes) {
    // 89 usable columns: the texts take 74, the bar's inside the remaining 12.
    const std::string line = FitProgressLine(Downloading(), 90);
    EXPECT_EQ(line,
              "[###---------] Downloaded: 50/200 files, 12.50 MB of 50.00 MB  Speed: 4.20 MB/s  "
              "00:00:09");
}

TEST(ProgressLineTest, rateGoesBeforeTheRemainingTime) {
    EXPECT_EQ(FitProgressLine(Downloading(), 70),
              "Downloaded: 50/200 files, 12.50 MB of 50.00 MB  00:00:09");
}

TEST(ProgressLineTest, fortyColumnsCutTheCountsWithAnEllipsis) {
    EXPECT_EQ(FitProgressLine(Downloading(), 40), "Downloaded: 50/200 files, 12.50 MB of \u2026");
}

TEST(ProgressLineTest, accentedLettersCountAsOneColumnEach) {
    ProgressLineParts parts;
    parts.counts = "Letöltve: 5/9 fájl";  // 18 letters, 20 bytes
    EXPECT_EQ(TerminalWidthOf(parts.counts), 18U);
    EXPECT_EQ(FitProgressLine(parts, 19), "Letöltve: 5/9 fájl");
    EXPECT_EQ(FitProgressLine(parts, 12), "Letöltve: \u2026");
}

TEST(ProgressLineTest, plainHttpRefusalNamesTheOptionNotTheSetting) {
    const std::wstring refusal = TrWide("error.http_requires_unlock");
    EXPECT_EQ(ForTheCommandLine(refusal), TrWide("error.http_requires_allow_http"));
    EXPECT_EQ(ForTheCommandLine(L"server x: " + refusal),
              L"server x: " + TrWide("error.http_requires_allow_http"));
    EXPECT_EQ(ForTheCommandLine(L"other"), L"other");
    const std::wstring cli = ForTheCommandLine(refusal);
    EXPECT_EQ(cli.substr(cli.size() - 13), L"--allow-http.");
}

}  // namespace
}  // namespace tavrin::cli
