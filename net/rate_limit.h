#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string_view>

namespace tavrin {

// One download budget that every worker of a run shares, so that the limit holds for the run
// as a whole, whatever the number of connections. Each chunk that arrives is booked at the
// limit's pace; a worker whose chunk comes early waits until its turn, and the server, no
// longer read from, slows down. A short burst (20 ms at the limit) passes at
// once, so that a slow start is not made up for later.
class RateLimit {
public:
    explicit RateLimit(std::uint64_t bytesPerSecond);
    RateLimit(const RateLimit&) = delete;
    RateLimit& operator=(const RateLimit&) = delete;

    // Waits until `bytes` more may pass; the wait looks at `cancelFlag` every 50 ms. False when
    // it was cut short by a cancel.
    bool Take(std::uint64_t bytes, const std::atomic<bool>* cancelFlag);
    std::uint64_t BytesPerSecond() const { return bytesPerSecond_; }
    // Whether a worker had to wait within the last second: the limit holds the rate down.
    bool Holding() const;

private:
    using Clock = std::chrono::steady_clock;

    const std::uint64_t bytesPerSecond_;
    const Clock::duration burst_;
    std::mutex mutex_;
    Clock::time_point next_;  // when the bytes booked so far are paid for
    std::atomic<Clock::rep> lastWait_{0};
};

// Reads a rate as curl's and wget's --limit-rate take it: a whole or decimal number of bytes
// per second, or with the suffix K, M or G (1024, 1024², 1024³; either case). False for
// anything else, zero included.
bool ParseRate(std::string_view text, std::uint64_t& bytesPerSecond);

}  // namespace tavrin
