#include "net/rate_limit.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <thread>

namespace tavrin {

namespace {

constexpr auto kCancelLook = std::chrono::milliseconds(50);

}  // namespace

RateLimit::RateLimit(std::uint64_t bytesPerSecond)
    : bytesPerSecond_(std::max<std::uint64_t>(bytesPerSecond, 1)),
      burst_(std::chrono::milliseconds(20)),
      next_(Clock::now()) {}

bool RateLimit::Take(std::uint64_t bytes, const std::atomic<bool>* cancelFlag) {
    Clock::time_point release;
    {
        const std::lock_guard lock(mutex_);
        const Clock::time_point now = Clock::now();
        // An idle budget saves up a burst at the most.
        next_ = std::max(next_, now - burst_);
        next_ += std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
            static_cast<double>(bytes) / static_cast<double>(bytesPerSecond_)));
        release = next_ - burst_;
    }
    while (true) {
        if (cancelFlag != nullptr && cancelFlag->load()) {
            return false;
        }
        const Clock::time_point now = Clock::now();
        if (now >= release) {
            return true;
        }
        lastWait_.store(now.time_since_epoch().count());
        std::this_thread::sleep_for(std::min<Clock::duration>(release - now, kCancelLook));
    }
}

bool RateLimit::Holding() const {
    const Clock::time_point last{Clock::duration(lastWait_.load())};
    return last.time_since_epoch().count() != 0 && Clock::now() - last < std::chrono::seconds(1);
}

bool ParseRate(std::string_view text, std::uint64_t& bytesPerSecond) {
    if (text.empty()) {
        return false;
    }
    double multiplier = 1.0;
    switch (text.back()) {
        case 'k':
        case 'K':
            multiplier = 1024.0;
            break;
        case 'm':
        case 'M':
            multiplier = 1024.0 * 1024.0;
            break;
        case 'g':
        case 'G':
            multiplier = 1024.0 * 1024.0 * 1024.0;
            break;
        default:
            break;
    }
    const std::string_view number = multiplier > 1.0 ? text.substr(0, text.size() - 1) : text;
    // Digits with at most one decimal point, read by hand: no sign, no exponent, no locale.
    double value = 0.0;
    double scale = 0.0;  // the place of the next fraction digit; 0 before the point
    bool anyDigit = false;
    for (const char c : number) {
        if (c == '.' && scale == 0.0) {
            scale = 0.1;
        } else if (c >= '0' && c <= '9') {
            anyDigit = true;
            if (scale == 0.0) {
                value = value * 10.0 + (c - '0');
            } else {
                value += (c - '0') * scale;
                scale /= 10.0;
            }
        } else {
            return false;
        }
    }
    if (!anyDigit) {
        return false;
    }
    const double rate = std::floor(value * multiplier);
    if (rate < 1.0 || rate > 1e18) {
        return false;
    }
    bytesPerSecond = static_cast<std::uint64_t>(rate);
    return true;
}

}  // namespace tavrin
