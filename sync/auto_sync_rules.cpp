#include "sync/auto_sync_rules.h"

#include <algorithm>

namespace tavrin {

bool ReportsChange(std::uint64_t since, const ChangeFeedResult& result) {
    return result.revision > since || (result.fullResync && result.revision < since);
}

int QuietPauseMs(const ChangeFeedResult& result) {
    const std::uint64_t pause = std::min<std::uint64_t>(result.retryAfterMs, 3600000) + 250;
    return static_cast<int>(pause);
}

int FailurePauseMs(int failures, std::uint64_t random) {
    const int exponent = std::clamp(failures - 1, 0, 5);
    const int backoff = std::min(1000 << exponent, 15000);
    return backoff + static_cast<int>((random >> 21) % 220);
}

int JitterAfterChangeMs(std::uint64_t identityHash) {
    return static_cast<int>(identityHash % 1500);
}

int StartStaggerMs(std::uint64_t identityHash) {
    return static_cast<int>((identityHash >> 12) % 300);
}

}  // namespace tavrin
