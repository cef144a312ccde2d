#include "net/rate_limit.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace tavrin {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST(ParseRateTest, takesBytesAndCurlsSuffixes) {
    std::uint64_t rate = 0;
    ASSERT_TRUE(ParseRate("1500", rate));
    EXPECT_EQ(rate, 1500U);
    ASSERT_TRUE(ParseRate("500K", rate));
    EXPECT_EQ(rate, 500U * 1024);
    ASSERT_TRUE(ParseRate("4m", rate));
    EXPECT_EQ(rate, 4U * 1024 * 1024);
    ASSERT_TRUE(ParseRate("1G", rate));
    EXPECT_EQ(rate, 1024ULL * 1024 * 1024);
    ASSERT_TRUE(ParseRate("1.5M", rate));
    EXPECT_EQ(rate, 1536U * 1024);
    ASSERT_TRUE(ParseRate("0.5k", rate));
    EXPECT_EQ(rate, 512U);
}

TEST(ParseRateTest, refusesWhatIsNoRate) {
    std::uint64_t rate = 77;
    for (const char* text : {"", "K", "0", "0K", "-5K", "+5K", "5KB", "5 K", "1e6", "0x10", "1.2.3",
                             ".", "inf", "5T", "0.0001"}) {
        EXPECT_FALSE(ParseRate(text, rate)) << text;
    }
    EXPECT_EQ(rate, 77U);
}

// Sixteen workers taking 64 KiB chunks from one budget of 2 MiB/s: together they move at the
// limit, not sixteen times it.
TEST(RateLimitTest, workersShareOneBudget) {
    constexpr std::uint64_t kRate = 2 * 1024 * 1024;
    constexpr std::uint64_t kChunk = 64 * 1024;
    constexpr int kWorkers = 16;
    constexpr int kChunksEach = 6;  // 6 MiB in all: 3 s at the limit
    RateLimit limit(kRate);
    const Clock::time_point start = Clock::now();
    std::vector<std::thread> workers;
    for (int worker = 0; worker < kWorkers; ++worker) {
        workers.emplace_back([&limit] {
            for (int chunk = 0; chunk < kChunksEach; ++chunk) {
                limit.Take(kChunk, nullptr);
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    const double rate = kWorkers * kChunksEach * kChunk / SecondsSince(start);
    EXPECT_NEAR(rate / kRate, 1.0, 0.05);
    EXPECT_TRUE(limit.Holding());
}

TEST(RateLimitTest, aCancelEndsTheWaitWithinItsLook) {
    RateLimit limit(1024);  // one KiB a second: 64 KiB would take a minute
    std::atomic<bool> cancel{false};
    std::thread canceller([&cancel] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        cancel = true;
    });
    const Clock::time_point start = Clock::now();
    EXPECT_FALSE(limit.Take(64 * 1024, &cancel));
    canceller.join();
    EXPECT_LT(SecondsSince(start), 0.5);
}

TEST(RateLimitTest, anIdleBudgetPassesOnlyAShortBurst) {
    RateLimit limit(1024 * 1024);
    EXPECT_FALSE(limit.Holding());
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const Clock::time_point start = Clock::now();
    limit.Take(1024 * 1024, nullptr);  // one second's worth after 300 ms of idling
    EXPECT_GT(SecondsSince(start), 0.9);
}

}  // namespace
}  // namespace tavrin
