#include "sync/remaining_time.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

ProgressMessage Comparing(std::uint32_t done, std::uint32_t total, double elapsed) {
    ProgressMessage message;
    message.comparing = true;
    message.done = done;
    message.total = total;
    message.elapsedSeconds = elapsed;
    return message;
}

ProgressMessage Downloading(std::uint32_t done, std::uint32_t total, std::uint64_t bytesDone,
                            std::uint64_t bytesTotal, double elapsed) {
    ProgressMessage message;
    message.done = done;
    message.total = total;
    message.bytesDone = bytesDone;
    message.bytesTotal = bytesTotal;
    message.elapsedSeconds = elapsed;
    return message;
}

TEST(RemainingTimeTest, NothingRememberedAndUnderHalfASecondGivesNoEstimate) {
    RemainingTimeEstimator estimator;
    EXPECT_FALSE(estimator.Update(Comparing(3, 10, 0.4)).has_value());
    EXPECT_FALSE(estimator.Update(Downloading(1, 4, 100, 400, 0.5)).has_value());
    EXPECT_EQ(estimator.Live().compareFilesPerSecond, 0.0);
}

TEST(RemainingTimeTest, ComparingUsesTheLiveRateAndTheProjectedDownload) {
    RemainingTimeEstimator estimator({1000.0, 0.0, 0.0});
    ProgressMessage message = Comparing(10, 30, 1.0);
    message.expectedBytes = 4000;
    // 20 files left at 10 files/s, then 4000 bytes at the remembered 1000 B/s.
    EXPECT_DOUBLE_EQ(estimator.Update(message).value(), 2.0 + 4.0);
    EXPECT_DOUBLE_EQ(estimator.Live().compareFilesPerSecond, 10.0);
}

TEST(RemainingTimeTest, TheRememberedCompareRateStandsInBeforeTheLiveOneSettles) {
    RemainingTimeEstimator estimator({0.0, 0.0, 5.0});
    EXPECT_DOUBLE_EQ(estimator.Update(Comparing(0, 10, 0.1)).value(), 2.0);
}

TEST(RemainingTimeTest, DownloadingTakesTheSlowerOfBytesAndFiles) {
    RemainingTimeEstimator estimator;
    // 1000 B/s leaves 2 s for the bytes; 1 file/s leaves 3 s for the files.
    EXPECT_DOUBLE_EQ(estimator.Update(Downloading(1, 4, 1000, 3000, 1.0)).value(), 3.0);
    // The next sample (1500 B/s) is smoothed in: 0.75 x 1000 + 0.25 x 1500.
    estimator.Update(Downloading(1, 4, 3000, 9000, 2.0));
    EXPECT_DOUBLE_EQ(estimator.Live().downloadBytesPerSecond, 1125.0);
}

TEST(RemainingTimeTest, AFinishedDownloadHasNothingLeftToEstimate) {
    RemainingTimeEstimator estimator;
    EXPECT_FALSE(estimator.Update(Downloading(4, 4, 3000, 3000, 2.0)).has_value());
}

TEST(RemainingTimeTest, AZeroMeasurementLeavesTheRememberedRateAlone) {
    const ThroughputRates remembered{2000.0, 3.0, 40.0};
    const ThroughputRates blended = RemainingTimeEstimator::Blend(remembered, {});
    EXPECT_EQ(blended.downloadBytesPerSecond, 2000.0);
    EXPECT_EQ(blended.downloadFilesPerSecond, 3.0);
    EXPECT_EQ(blended.compareFilesPerSecond, 40.0);
}

TEST(RemainingTimeTest, AFirstRealMeasurementReplacesAZeroAndLaterOnesAreBlended) {
    const ThroughputRates first = RemainingTimeEstimator::Blend({}, {1000.0, 2.0, 50.0});
    EXPECT_EQ(first.downloadBytesPerSecond, 1000.0);
    EXPECT_EQ(first.downloadFilesPerSecond, 2.0);
    EXPECT_EQ(first.compareFilesPerSecond, 50.0);
    const ThroughputRates next = RemainingTimeEstimator::Blend(first, {2000.0, 0.005, 100.0});
    EXPECT_DOUBLE_EQ(next.downloadBytesPerSecond, 0.7 * 1000.0 + 0.3 * 2000.0);
    EXPECT_EQ(next.downloadFilesPerSecond, 2.0);  // 0.005 files/s is not a usable rate
    EXPECT_DOUBLE_EQ(next.compareFilesPerSecond, 0.7 * 50.0 + 0.3 * 100.0);
}

}  // namespace
}  // namespace tavrin
