#include "net/change_feed.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "tests/support/http_fixture.h"

namespace tavrin {
namespace {

using test::HttpTest;
using test::ScriptedReply;

TEST(ChangeFeedPathTest, waitIsClampedAndProjectsAreEncodedOneByOne) {
    EXPECT_EQ(ChangeFeedPath(7, 500, {"a b", "c/d"}),
              L"/changes?since=7&wait=120&projects=a%20b,c%2Fd");
    EXPECT_EQ(ChangeFeedPath(0, -3, {}), L"/changes?since=0&wait=0");
    EXPECT_EQ(ChangeFeedReceiveTimeoutMs(500), 122500);
    EXPECT_EQ(ChangeFeedReceiveTimeoutMs(-3), 2500);
    EXPECT_EQ(ChangeFeedReceiveTimeoutMs(8), 10500);
}

ChangeFeedResult Parse(std::string_view body, std::uint64_t previous = 41) {
    ChangeFeedResult result;
    result.revision = previous;
    std::wstring error;
    EXPECT_TRUE(ParseChangeFeed(body, result, error)) << error.c_str();
    return result;
}

TEST(ChangeFeedParseTest, readsEveryField) {
    const ChangeFeedResult result = Parse(
        R"({"revision": 42, "has_changes": true, "full_resync": false, "projects": [" a ", "", 3, "b"],)"
        R"( "project_password_required": {" a ": true, "b": "yes"}, "retry_after_ms": 1500})");
    EXPECT_EQ(result.revision, 42U);
    EXPECT_TRUE(result.hasChanges);
    EXPECT_FALSE(result.fullResync);
    EXPECT_EQ(result.projects, (std::set<std::string>{"a", "b"}));
    EXPECT_EQ(result.passwordRequired, (std::map<std::string, bool>{{"a", true}, {"b", false}}));
    EXPECT_EQ(result.retryAfterMs, 1500U);
}

TEST(ChangeFeedParseTest, revisionIsTakenOnlyWhenItIsANonNegativeNumber) {
    EXPECT_EQ(Parse(R"({"revision": -5})").revision, 41U);
    EXPECT_EQ(Parse(R"({"revision": 12.7})").revision, 12U);
    EXPECT_EQ(Parse(R"({"revision": "9"})").revision, 41U);
    EXPECT_EQ(Parse(R"({})").revision, 41U);
    EXPECT_EQ(Parse(R"({"revision": 18446744073709551615})").revision, 18446744073709551615ULL);
    EXPECT_EQ(Parse(R"({"revision": 9.3e18})").revision, 9300000000000000000ULL);
    EXPECT_FALSE(Parse(R"({"has_changes": 1})").hasChanges);
    EXPECT_EQ(Parse(R"({})").retryAfterMs, 0U);
}

TEST(ChangeFeedParseTest, answersThatAreNoObjectFail) {
    ChangeFeedResult result;
    std::wstring error;
    EXPECT_FALSE(ParseChangeFeed("[1,2]", result, error));
    EXPECT_EQ(error,
              FillPlaceholders(TrWide("error.changes_json_invalid"), {L"no error occurred"}));
    EXPECT_FALSE(ParseChangeFeed(std::string(1000000, '{'), result, error));
    EXPECT_FALSE(ParseChangeFeed("{\"projects\": [\"\xFF\xFE\"]}", result, error));
    EXPECT_FALSE(ParseChangeFeed("", result, error));
}

TEST_F(HttpTest, pollReportsTheServersChanges) {
    server_.Reply(
        "/changes?since=3&wait=5&projects=alpha,beta%20two",
        ScriptedReply::Status(200, R"({"revision":4,"has_changes":true,"projects":["alpha"]})"));
    ChangeFeedResult result;
    std::wstring error;
    ASSERT_TRUE(PollChanges(server_.Url(), L"tavrin-0123456789abcdef", 3, 5, {"alpha", "beta two"},
                            result, error, nullptr))
        << error.c_str();
    EXPECT_EQ(result.revision, 4U);
    EXPECT_TRUE(result.hasChanges);
    EXPECT_EQ(result.projects, (std::set<std::string>{"alpha"}));
    ReleaseChangeFeedConnection();
}

TEST_F(HttpTest, pollsOfOneServerShareAConnection) {
    server_.ReplyOtherwise([](const test::RecordedRequest&) {
        return ScriptedReply::Status(200, R"({"revision":1})");
    });
    for (int i = 0; i < 5; ++i) {
        ChangeFeedResult result;
        std::wstring error;
        ASSERT_TRUE(PollChanges(server_.Url(), L"", 0, 1, {}, result, error, nullptr));
    }
    EXPECT_EQ(server_.ConnectionsAccepted(), 1);
    ReleaseChangeFeedConnection();
}

TEST_F(HttpTest, pollFailingOnAStaleConnectionIsRetriedOnceOnANewOne) {
    ScriptedReply stale;
    stale.dropWithoutAnswer = true;
    server_.ReplySequence("/changes?since=0&wait=1",
                          {ScriptedReply::Status(200, R"({"revision":1})"), stale,
                           ScriptedReply::Status(200, R"({"revision":2})")});
    ChangeFeedResult result;
    std::wstring error;
    ASSERT_TRUE(PollChanges(server_.Url(), L"", 0, 1, {}, result, error, nullptr));
    ASSERT_TRUE(PollChanges(server_.Url(), L"", 0, 1, {}, result, error, nullptr)) << error.c_str();
    EXPECT_EQ(result.revision, 2U);
    EXPECT_EQ(server_.RequestsFor("/changes?since=0&wait=1").size(), 3U);
    EXPECT_EQ(server_.ConnectionsAccepted(), 2);
    ReleaseChangeFeedConnection();
}

TEST_F(HttpTest, pollErrorStatusIsReportedAfterOneRetry) {
    server_.Reply("/changes?since=0&wait=0", ScriptedReply::Status(503, ""));
    ChangeFeedResult result;
    std::wstring error;
    EXPECT_FALSE(PollChanges(server_.Url(), L"", 0, 0, {}, result, error, nullptr));
    EXPECT_EQ(error, FillPlaceholders(TrWide("error.changes_http"), {L"503"}));
    EXPECT_EQ(server_.RequestsFor("/changes?since=0&wait=0").size(), 2U);
    ReleaseChangeFeedConnection();
}

TEST_F(HttpTest, cancelledPollDoesNotStart) {
    std::atomic<bool> cancel{true};
    ChangeFeedResult result;
    std::wstring error;
    EXPECT_FALSE(PollChanges(server_.Url(), L"", 0, 0, {}, result, error, &cancel));
    EXPECT_EQ(error, TrWide("error.sync_cancelled"));
    EXPECT_TRUE(server_.Requests().empty());
}

TEST_F(HttpTest, cancelDuringAHeldPollEndsItWithinAChunkOrTheWait) {
    ScriptedReply held = ScriptedReply::Status(200, std::string(2000, ' ') + R"({"revision":9})");
    held.dripBytes = 100;
    held.dripIntervalMs = 100;
    server_.Reply("/changes?since=0&wait=1", held);
    std::atomic<bool> cancel{false};
    std::thread canceller([&cancel] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        cancel = true;
    });
    const auto started = std::chrono::steady_clock::now();
    ChangeFeedResult result;
    std::wstring error;
    EXPECT_FALSE(PollChanges(server_.Url(), L"", 0, 1, {}, result, error, &cancel));
    const auto elapsed = std::chrono::steady_clock::now() - started;
    canceller.join();
    EXPECT_EQ(error, TrWide("error.sync_cancelled"));
    EXPECT_LT(elapsed, std::chrono::milliseconds(1500));
    EXPECT_EQ(server_.Requests().size(), 1U);  // no retry after a cancel
    ReleaseChangeFeedConnection();
}

TEST_F(HttpTest, pollThatTheServerNeverAnswersEndsAfterTheWaitPlusGrace) {
    ScriptedReply silent;
    silent.neverAnswer = true;
    server_.Reply("/changes?since=0&wait=0", silent);
    const auto started = std::chrono::steady_clock::now();
    ChangeFeedResult result;
    std::wstring error;
    EXPECT_FALSE(PollChanges(server_.Url(), L"", 0, 0, {}, result, error, nullptr));
    const auto elapsed = std::chrono::steady_clock::now() - started;
    // 2.5 s for the poll and 2.5 s for its one retry.
    EXPECT_GE(elapsed, std::chrono::milliseconds(4800));
    EXPECT_LT(elapsed, std::chrono::milliseconds(9000));
    ReleaseChangeFeedConnection();
}

}  // namespace
}  // namespace tavrin
