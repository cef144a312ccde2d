#include "net/server_probe.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "net/server_endpoint.h"
#include "tests/support/test_http_server.h"

namespace tavrin {
namespace {

using test::ScriptedReply;
using test::TestHttpServer;

// The probe must not depend on the lock: it runs with the lock on in every test here.
class ServerProbeTest : public ::testing::Test {
protected:
    void SetUp() override { previousLock_ = plainHttpAllowed.exchange(false); }
    void TearDown() override { plainHttpAllowed = previousLock_; }

    std::wstring HostAndPort() const { return L"127.0.0.1:" + std::to_wstring(server_.Port()); }

    TestHttpServer server_;

private:
    bool previousLock_ = false;
};

TEST_F(ServerProbeTest, aPlainServerAnswersOverHttpEvenWithTheLockOn) {
    EXPECT_TRUE(ProbeServer(L"http://" + HostAndPort()));
    ASSERT_EQ(server_.Requests().size(), 1U);
    EXPECT_EQ(server_.Requests()[0].method, "GET");
    EXPECT_EQ(server_.Requests()[0].target, "/list_projects");
    EXPECT_EQ(server_.Requests()[0].Header("User-Agent"), "Tavrin/1.0");
    EXPECT_FALSE(plainHttpAllowed.load());
}

TEST_F(ServerProbeTest, theBasePathIsJoinedWithTheListPath) {
    EXPECT_TRUE(ProbeServer(L"http://" + HostAndPort() + L"/league/ac/"));
    ASSERT_EQ(server_.Requests().size(), 1U);
    EXPECT_EQ(server_.Requests()[0].target, "/league/ac/list_projects");
}

TEST_F(ServerProbeTest, anyStatusCountsAsAnAnswer) {
    server_.Reply("/list_projects", ScriptedReply::Status(404, "not here"));
    EXPECT_TRUE(ProbeServer(L"http://" + HostAndPort()));
    server_.Reply("/list_projects", ScriptedReply::Status(500));
    EXPECT_TRUE(ProbeServer(L"http://" + HostAndPort()));
}

TEST_F(ServerProbeTest, anEndlessAnswerCountsWithoutBeingReadToTheEnd) {
    ScriptedReply endless = ScriptedReply::Status(200);
    endless.endlessBody = true;
    server_.Reply("/list_projects", endless);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_TRUE(ProbeServer(L"http://" + HostAndPort()));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
}

TEST_F(ServerProbeTest, tlsAgainstAPlainServerIsNoAnswer) {
    EXPECT_FALSE(ProbeServer(L"https://" + HostAndPort()));
}

TEST_F(ServerProbeTest, aClosedPortIsNoAnswer) {
    const std::wstring address = HostAndPort();
    server_.Stop();
    EXPECT_FALSE(ProbeServer(L"http://" + address));
    EXPECT_FALSE(ProbeServer(L"https://" + address));
}

TEST_F(ServerProbeTest, aServerThatStaysSilentIsGivenUpAfterTheWait) {
    ScriptedReply silent;
    silent.neverAnswer = true;
    server_.Reply("/list_projects", silent);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_FALSE(ProbeServer(L"http://" + HostAndPort()));
    const auto waited = std::chrono::steady_clock::now() - started;
    EXPECT_GE(waited, std::chrono::milliseconds(2000));
    EXPECT_LT(waited, std::chrono::seconds(15));
}

TEST_F(ServerProbeTest, textThatIsNoServerAddressIsNoAnswer) {
    EXPECT_FALSE(ProbeServer(L"ftp://" + HostAndPort()));
    EXPECT_FALSE(ProbeServer(L""));
    EXPECT_TRUE(server_.Requests().empty());
}

}  // namespace
}  // namespace tavrin
