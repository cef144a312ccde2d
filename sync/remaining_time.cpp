#include "sync/remaining_time.h"

#include <algorithm>

namespace tavrin {

namespace {

// Below these a rate says nothing: a byte rate must pass 1 B/s, a file rate 0.01 files/s.
constexpr double kUsableBytesRate = 1.0;
constexpr double kUsableFilesRate = 0.01;
constexpr double kSettledSeconds = 0.5;
constexpr double kSmallestDivisor = 1e-9;

void Smooth(double& rate, double sample) {
    rate = rate > 0.0 ? 0.75 * rate + 0.25 * sample : sample;
}

double Pick(double live, double remembered, double usable) {
    return live > usable ? live : remembered;
}

// Time for `amount` at `rate`, or 0 when the rate is not usable.
double TimeFor(double amount, double rate, double usable) {
    return rate > usable && rate > kSmallestDivisor ? amount / rate : 0.0;
}

double BlendOne(double remembered, double live, double usable) {
    if (live <= usable) {
        return remembered;
    }
    return remembered > usable ? 0.7 * remembered + 0.3 * live : live;
}

}  // namespace

double RemainingTimeEstimator::BytesRate() const {
    return Pick(live_.downloadBytesPerSecond, remembered_.downloadBytesPerSecond, kUsableBytesRate);
}

double RemainingTimeEstimator::DownloadFilesRate() const {
    return Pick(live_.downloadFilesPerSecond, remembered_.downloadFilesPerSecond, kUsableFilesRate);
}

double RemainingTimeEstimator::CompareRate() const {
    return Pick(live_.compareFilesPerSecond, remembered_.compareFilesPerSecond, kUsableFilesRate);
}

std::optional<double> RemainingTimeEstimator::Update(const ProgressMessage& message) {
    const double elapsed = message.elapsedSeconds;
    bool estimated = false;
    double compareTime = 0.0;
    double downloadTime = 0.0;
    double bytesLeft = 0.0;
    double filesLeft = 0.0;
    if (message.comparing) {
        if (elapsed > kSettledSeconds && message.done >= 1) {
            Smooth(live_.compareFilesPerSecond, message.done / elapsed);
        }
        const double rate = CompareRate();
        if (rate > kUsableFilesRate) {
            const double remaining =
                std::max(static_cast<double>(message.total) - message.done, 0.0);
            compareTime = TimeFor(remaining, rate, 0.0);
            estimated = true;
        }
        bytesLeft = static_cast<double>(message.expectedBytes);
        filesLeft = static_cast<double>(message.expectedFiles);
    } else {
        if (elapsed > kSettledSeconds) {
            if (message.bytesDone > 0) {
                Smooth(live_.downloadBytesPerSecond, message.bytesDone / elapsed);
            }
            if (message.done > 0) {
                Smooth(live_.downloadFilesPerSecond, message.done / elapsed);
            }
        }
        bytesLeft = message.bytesTotal > message.bytesDone
                        ? static_cast<double>(message.bytesTotal - message.bytesDone)
                        : 0.0;
        filesLeft = std::max(static_cast<double>(message.total) - message.done, 0.0);
    }
    const double bytesPart = TimeFor(bytesLeft, BytesRate(), kUsableBytesRate);
    const double filesPart = TimeFor(filesLeft, DownloadFilesRate(), kUsableFilesRate);
    if (bytesPart > 0.0 || filesPart > 0.0) {
        downloadTime = std::max(bytesPart, filesPart);
        estimated = true;
    }
    if (!estimated) {
        return std::nullopt;
    }
    return compareTime + downloadTime;
}

ThroughputRates RemainingTimeEstimator::Blend(const ThroughputRates& remembered,
                                              const ThroughputRates& live) {
    return {
        BlendOne(remembered.downloadBytesPerSecond, live.downloadBytesPerSecond, kUsableBytesRate),
        BlendOne(remembered.downloadFilesPerSecond, live.downloadFilesPerSecond, kUsableFilesRate),
        BlendOne(remembered.compareFilesPerSecond, live.compareFilesPerSecond, kUsableFilesRate)};
}

}  // namespace tavrin
