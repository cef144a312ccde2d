#pragma once

#include <optional>

#include "sync/progress.h"

namespace tavrin {

// The rates the window estimates the remaining time from: live ones smoothed over the
// current run's reports, and remembered ones carried across runs in the settings.
struct ThroughputRates {
    double downloadBytesPerSecond = 0.0;
    double downloadFilesPerSecond = 0.0;
    double compareFilesPerSecond = 0.0;
};

// Turns the engine's reports into an estimate of the whole run's remaining seconds.
class RemainingTimeEstimator {
public:
    explicit RemainingTimeEstimator(ThroughputRates remembered = {}) : remembered_(remembered) {}

    // Folds the report into the live rates, then estimates: nothing when no rate is usable
    // yet (under half a second elapsed and nothing remembered).
    std::optional<double> Update(const ProgressMessage& message);

    const ThroughputRates& Live() const { return live_; }
    const ThroughputRates& Remembered() const { return remembered_; }

    // The remembered rates after a run: each live rate that is usable is blended in (0.7 of
    // the old, 0.3 of the new), or replaces an unusable remembered one.
    static ThroughputRates Blend(const ThroughputRates& remembered, const ThroughputRates& live);

private:
    double BytesRate() const;
    double DownloadFilesRate() const;
    double CompareRate() const;

    ThroughputRates remembered_;
    ThroughputRates live_;
};

}  // namespace tavrin
