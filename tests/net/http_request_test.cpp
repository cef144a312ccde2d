#include "net/http_request.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "i18n/translator.h"
#include "tests/support/http_fixture.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using test::HttpTest;
using test::ScriptedReply;

bool StartsWith(const std::wstring& text, const std::wstring& start) {
    return text.rfind(start, 0) == 0;
}

TEST(RequestHeadersTest, blockHasTheProgramsLinesInOrder) {
    EXPECT_EQ(BuildRequestHeaders(L"tavrin-0123456789abcdef", L"A: 1"),
              L"Accept-Encoding: gzip\r\nCache-Control: no-cache\r\n"
              L"X-Client-ID: tavrin-0123456789abcdef\r\nA: 1\r\n");
}

TEST(RequestHeadersTest, emptyClientIdSendsNoLineAndTerminatedExtrasGetNoSecondLineEnd) {
    EXPECT_EQ(BuildRequestHeaders(L"", L"A: 1\r\nB: 2\r\n"),
              L"Accept-Encoding: gzip\r\nCache-Control: no-cache\r\nA: 1\r\nB: 2\r\n");
    EXPECT_EQ(BuildRequestHeaders(L"", L""),
              L"Accept-Encoding: gzip\r\nCache-Control: no-cache\r\n");
}

TEST(RequestHeadersTest, noGzipIsAskedForWhereItCannotBeDecoded) {
    EXPECT_EQ(BuildRequestHeaders(L"", L"", false), L"Cache-Control: no-cache\r\n");
}

TEST(RequestHeadersTest, passwordLinesAreRecognisedInAnyCase) {
    EXPECT_TRUE(CarriesPassword(L"X-Project-Password: s\r\n"));
    EXPECT_TRUE(CarriesPassword(L"If-None-Match: \"a\"\r\nx-project-password: s\r\n"));
    EXPECT_FALSE(CarriesPassword(L"If-None-Match: \"a\"\r\n"));
}

TEST_F(HttpTest, requestLineAndHeadersReachTheServerInOrder) {
    server_.Reply("/base/list_projects", ScriptedReply::Status(200, "[]"));
    HttpSession session = OpenSession(server_.Url() + L"/base/", L"tavrin-0123456789abcdef");
    std::string body;
    const auto result = Get(session, L"/list_projects", &body, L"A: 1");
    ASSERT_TRUE(result.ok) << result.error.c_str();
    const auto requests = server_.Requests();
    ASSERT_EQ(requests.size(), 1U);
    const test::RecordedRequest& request = requests[0];
    EXPECT_EQ(request.raw.rfind("GET /base/list_projects HTTP/1.1\r\n", 0), 0U) << request.raw;
    EXPECT_EQ(request.Header("User-Agent"), "Tavrin/1.0");
    EXPECT_EQ(request.Header("Host"), "127.0.0.1:" + std::to_string(server_.Port()));
    EXPECT_FALSE(request.Header("Accept").has_value());
    // The program's own lines, in their order, after whatever the transport adds.
    std::vector<std::string> ours;
    for (const auto& [name, value] : request.headers) {
        if (name == "Accept-Encoding" || name == "Cache-Control" || name == "X-Client-ID" ||
            name == "A") {
            ours.push_back(name + ": " + value);
        }
    }
    std::vector<std::string> expected{"Cache-Control: no-cache",
                                      "X-Client-ID: tavrin-0123456789abcdef", "A: 1"};
    if (session.decompression) {
        expected.insert(expected.begin(), "Accept-Encoding: gzip");
    }
    EXPECT_EQ(ours, expected);
    EXPECT_EQ(body, "[]");
    EXPECT_EQ(result.result.status, 200U);
    EXPECT_EQ(result.result.bytesRead, 2U);
    EXPECT_EQ(result.result.info.declaredLength, 2U);
    EXPECT_EQ(result.result.info.bodyBytesInMemory, 2U);
    EXPECT_FALSE(result.result.info.gzipEncoded);
}

TEST_F(HttpTest, emptyClientIdSendsNoClientIdHeader) {
    server_.Reply("/x", ScriptedReply::Status(200, "ok"));
    HttpSession session = OpenSession(server_.Url(), L"");
    ASSERT_TRUE(Get(session, L"/x").ok);
    ASSERT_EQ(server_.Requests().size(), 1U);
    EXPECT_FALSE(server_.Requests()[0].Header("X-Client-ID").has_value());
}

TEST_F(HttpTest, extraHeadersWithAndWithoutLineEndArriveWhole) {
    server_.Reply("/x", ScriptedReply::Status(200, "ok"));
    HttpSession session = OpenSession(server_.Url());
    ASSERT_TRUE(Get(session, L"/x", nullptr, L"A: 1").ok);
    ASSERT_TRUE(Get(session, L"/x", nullptr, L"B: 2\r\nC: 3\r\n").ok);
    const auto requests = server_.Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].Header("A"), "1");
    EXPECT_EQ(requests[1].Header("B"), "2");
    EXPECT_EQ(requests[1].Header("C"), "3");
}

TEST_F(HttpTest, errorStatusesAreAnswersNotFailures) {
    server_.Reply("/gone", ScriptedReply::Status(404, "missing"));
    ScriptedReply notModified = ScriptedReply::Status(304);
    notModified.contentLength = 0;
    server_.Reply("/same", notModified);
    HttpSession session = OpenSession(server_.Url());
    std::string body;
    const auto gone = Get(session, L"/gone", &body);
    ASSERT_TRUE(gone.ok) << gone.error.c_str();
    EXPECT_EQ(gone.result.status, 404U);
    EXPECT_EQ(body, "missing");
    const auto same = Get(session, L"/same", &body);
    ASSERT_TRUE(same.ok) << same.error.c_str();
    EXPECT_EQ(same.result.status, 304U);
    EXPECT_EQ(body, "");
}

TEST_F(HttpTest, presetCancelFailsAfterTheStatusWithAnEmptyFile) {
    server_.Reply("/file", ScriptedReply::Status(200, "content"));
    HttpSession session = OpenSession(server_.Url());
    std::atomic<bool> cancel{true};
    HttpRequest request;
    request.endpointPath = L"/file";
    request.outFilePath = sandbox_ / "out.bin";
    request.cancelFlag = &cancel;
    HttpResult result;
    std::wstring error;
    EXPECT_FALSE(ExecuteHttpRequest(session, request, result, error));
    EXPECT_EQ(error, TrWide("error.sync_cancelled"));
    EXPECT_EQ(result.status, 200U);
    ASSERT_TRUE(std::filesystem::exists(sandbox_ / "out.bin"));
    EXPECT_EQ(std::filesystem::file_size(sandbox_ / "out.bin"), 0U);
}

TEST_F(HttpTest, presetCancelAlsoStopsAnEmptyBody) {
    server_.Reply("/empty", ScriptedReply::Status(200, ""));
    HttpSession session = OpenSession(server_.Url());
    std::atomic<bool> cancel{true};
    HttpRequest request;
    request.endpointPath = L"/empty";
    request.cancelFlag = &cancel;
    HttpResult result;
    std::wstring error;
    EXPECT_FALSE(ExecuteHttpRequest(session, request, result, error));
    EXPECT_EQ(error, TrWide("error.sync_cancelled"));
}

TEST_F(HttpTest, bodyIsStreamedIntoAFileByteForByte) {
    std::string content;
    for (int i = 0; i < 300000; ++i) {
        content.push_back(static_cast<char>(i * 7 % 251));
    }
    server_.Reply("/big", ScriptedReply::Status(200, content));
    ScriptedReply chunked = ScriptedReply::Status(200, content);
    chunked.chunked = true;
    server_.Reply("/chunked", chunked);
    HttpSession session = OpenSession(server_.Url());
    for (const wchar_t* path : {L"/big", L"/chunked"}) {
        HttpRequest request;
        request.endpointPath = path;
        request.outFilePath = sandbox_ / "big.bin";
        HttpResult result;
        std::wstring error;
        ASSERT_TRUE(ExecuteHttpRequest(session, request, result, error)) << error.c_str();
        EXPECT_EQ(result.bytesRead, content.size());
        EXPECT_EQ(test::ReadFile(sandbox_ / "big.bin"), content);
        EXPECT_EQ(result.info.bodyBytesInMemory, 0U);
    }
}

TEST_F(HttpTest, fileThatCannotBeCreatedIsReportedWithItsPath) {
    server_.Reply("/file", ScriptedReply::Status(200, "content"));
    HttpSession session = OpenSession(server_.Url());
    HttpRequest request;
    request.endpointPath = L"/file";
    request.outFilePath = sandbox_ / "no-such-folder" / "out.bin";
    HttpResult result;
    std::wstring error;
    EXPECT_FALSE(ExecuteHttpRequest(session, request, result, error));
    EXPECT_NE(error.find(L"out.bin"), std::wstring::npos) << error.c_str();
    EXPECT_TRUE(StartsWith(error, TrWide("error.temp_file_create_failed").substr(0, 10)))
        << error.c_str();
}

TEST_F(HttpTest, gzipAnswerIsDecodedAndDeclaresNoLength) {
    if (!test::HttpDecompressionWorks()) {
        GTEST_SKIP() << test::kNoDecompressionReason;
    }
    ScriptedReply reply = ScriptedReply::Status(200, R"(["alpha","beta"])");
    reply.gzip = true;
    server_.Reply("/list", reply);
    HttpSession session = OpenSession(server_.Url());
    std::string body;
    const auto result = Get(session, L"/list", &body);
    ASSERT_TRUE(result.ok) << result.error.c_str();
    EXPECT_EQ(body, R"(["alpha","beta"])");
    EXPECT_TRUE(result.result.info.gzipEncoded);
    EXPECT_EQ(result.result.info.declaredLength, 0U);
    EXPECT_EQ(result.result.info.bodyBytesInMemory, body.size());
}

TEST_F(HttpTest, sequentialRequestsReuseOneConnection) {
    server_.Reply("/x", ScriptedReply::Status(200, "ok"));
    HttpSession session = OpenSession(server_.Url());
    for (int i = 0; i < 20; ++i) {
        std::string body;
        ASSERT_TRUE(Get(session, L"/x", &body).ok);
        EXPECT_EQ(body, "ok");
    }
    EXPECT_EQ(server_.Requests().size(), 20U);
    EXPECT_EQ(server_.ConnectionsAccepted(), 1);
}

TEST_F(HttpTest, closedConnectionIsReopenedForTheNextRequest) {
    ScriptedReply closing = ScriptedReply::Status(200, "bye");
    closing.closeConnection = true;
    server_.Reply("/close", closing);
    server_.Reply("/x", ScriptedReply::Status(200, "ok"));
    HttpSession session = OpenSession(server_.Url());
    ASSERT_TRUE(Get(session, L"/close").ok);
    std::string body;
    const auto again = Get(session, L"/x", &body);
    ASSERT_TRUE(again.ok) << again.error.c_str();
    EXPECT_EQ(body, "ok");
    EXPECT_EQ(server_.ConnectionsAccepted(), 2);
}

TEST_F(HttpTest, serverThatNeverAnswersEndsByTheReceiveTimeout) {
    ScriptedReply silent;
    silent.neverAnswer = true;
    server_.Reply("/silent", silent);
    HttpSession session = OpenSession(server_.Url(), L"", {2000, 2000, 2000, 700});
    const auto started = std::chrono::steady_clock::now();
    const auto result = Get(session, L"/silent");
    const auto elapsed = std::chrono::steady_clock::now() - started;
    EXPECT_FALSE(result.ok);
    EXPECT_TRUE(StartsWith(result.error, TrWide("error.winhttp_receive_response_failed")))
        << result.error.c_str();
    EXPECT_GE(elapsed, std::chrono::milliseconds(650));
    EXPECT_LT(elapsed, std::chrono::milliseconds(5000));
}

TEST_F(HttpTest, stallInTheMiddleOfTheBodyEndsByTheReceiveTimeout) {
    ScriptedReply stall = ScriptedReply::Status(200, std::string(200000, 'b'));
    stall.stallAfterBodyBytes = 100000;
    server_.Reply("/stall", stall);
    HttpSession session = OpenSession(server_.Url(), L"", {2000, 2000, 2000, 700});
    const auto started = std::chrono::steady_clock::now();
    std::string body;
    const auto result = Get(session, L"/stall", &body);
    const auto elapsed = std::chrono::steady_clock::now() - started;
    EXPECT_FALSE(result.ok);
    // WinHTTP notices the stall either while asking how much data there is or while reading.
    EXPECT_TRUE(StartsWith(result.error, TrWide("error.winhttp_read_data_failed")) ||
                StartsWith(result.error, TrWide("error.winhttp_query_data_available_failed")))
        << result.error.c_str();
    EXPECT_GE(elapsed, std::chrono::milliseconds(650));
    EXPECT_LT(elapsed, std::chrono::milliseconds(5000));
}

TEST_F(HttpTest, slowDripWithinTheReceiveTimeoutCompletes) {
    ScriptedReply drip = ScriptedReply::Status(200, "0123456789");
    drip.dripBytes = 2;
    drip.dripIntervalMs = 150;
    server_.Reply("/drip", drip);
    HttpSession session = OpenSession(server_.Url(), L"", {2000, 2000, 2000, 600});
    std::string body;
    const auto result = Get(session, L"/drip", &body);
    ASSERT_TRUE(result.ok) << result.error.c_str();
    EXPECT_EQ(body, "0123456789");
}

TEST_F(HttpTest, shortBodyEndsTheReadAndTheCallerSeesTheCount) {
    ScriptedReply shortReply = ScriptedReply::Status(200, std::string(50, 's'));
    shortReply.contentLength = 100;
    shortReply.closeConnection = true;
    server_.Reply("/short", shortReply);
    HttpSession session = OpenSession(server_.Url());
    std::string body;
    const auto result = Get(session, L"/short", &body);
    ASSERT_TRUE(result.ok) << result.error.c_str();
    EXPECT_EQ(result.result.bytesRead, 50U);
    EXPECT_EQ(result.result.info.declaredLength, 100U);
}

TEST_F(HttpTest, endlessBodyIsCutOffPastTheLimit) {
    ScriptedReply endless = ScriptedReply::Status(200, "");
    endless.endlessBody = true;
    server_.Reply("/endless", endless);
    HttpSession session = OpenSession(server_.Url());
    HttpRequest request;
    request.endpointPath = L"/endless";
    request.outFilePath = sandbox_ / "endless.bin";
    request.bodyLimit = 100000;
    HttpResult result;
    std::wstring error;
    EXPECT_FALSE(ExecuteHttpRequest(session, request, result, error));
    EXPECT_TRUE(result.bodyLimitExceeded);
    EXPECT_LE(std::filesystem::file_size(sandbox_ / "endless.bin"), 100000U);
    EXPECT_LE(result.bytesRead, 100000U);
}

TEST_F(HttpTest, cancelDuringTheBodyStopsWithinAChunk) {
    ScriptedReply drip = ScriptedReply::Status(200, std::string(4000, 'd'));
    drip.dripBytes = 100;
    drip.dripIntervalMs = 50;
    server_.Reply("/drip", drip);
    HttpSession session = OpenSession(server_.Url());
    std::atomic<bool> cancel{false};
    HttpRequest request;
    request.endpointPath = L"/drip";
    std::string body;
    request.outBody = &body;
    request.cancelFlag = &cancel;
    std::thread canceller([&cancel] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        cancel = true;
    });
    const auto started = std::chrono::steady_clock::now();
    HttpResult result;
    std::wstring error;
    EXPECT_FALSE(ExecuteHttpRequest(session, request, result, error));
    const auto elapsed = std::chrono::steady_clock::now() - started;
    canceller.join();
    EXPECT_EQ(error, TrWide("error.sync_cancelled"));
    EXPECT_LT(elapsed, std::chrono::milliseconds(1200));
    EXPECT_LT(body.size(), 4000U);
}

TEST_F(HttpTest, connectionDroppedWithoutAnAnswerFails) {
    ScriptedReply drop;
    drop.dropWithoutAnswer = true;
    server_.Reply("/drop", drop);
    HttpSession session = OpenSession(server_.Url());
    const auto result = Get(session, L"/drop");
    EXPECT_FALSE(result.ok);
    EXPECT_FALSE(result.error.empty());
}

TEST_F(HttpTest, refusedConnectionFailsWithTheSendText) {
    std::wstring url;
    {
        test::TestHttpServer closed;
        url = closed.Url();
    }
    HttpSession session = OpenSession(url);
    const auto result = Get(session, L"/x");
    EXPECT_FALSE(result.ok);
    EXPECT_TRUE(StartsWith(result.error, TrWide("error.winhttp_send_request_failed")))
        << result.error.c_str();
}

TEST_F(HttpTest, redirectsAreFollowed) {
    ScriptedReply moved = ScriptedReply::Status(302, "");
    moved.headers = {{"Location", "/new"}};
    server_.Reply("/old", moved);
    server_.Reply("/new", ScriptedReply::Status(200, "here"));
    HttpSession session = OpenSession(server_.Url());
    std::string body;
    const auto result = Get(session, L"/old", &body);
    ASSERT_TRUE(result.ok) << result.error.c_str();
    EXPECT_EQ(result.result.status, 200U);
    EXPECT_EQ(body, "here");
}

TEST_F(HttpTest, requestWithAPasswordFollowsNoRedirect) {
    test::TestHttpServer elsewhere;
    elsewhere.Reply("/steal", ScriptedReply::Status(200, "stolen"));
    ScriptedReply moved = ScriptedReply::Status(302, "moved");
    moved.headers = {
        {"Location", "http://127.0.0.1:" + std::to_string(elsewhere.Port()) + "/steal"}};
    server_.Reply("/file_list/p", moved);
    HttpSession session = OpenSession(server_.Url());
    std::string body;
    const auto result = Get(session, L"/file_list/p", &body, L"X-Project-Password: secret\r\n");
    ASSERT_TRUE(result.ok) << result.error.c_str();
    EXPECT_EQ(result.result.status, 302U);
    EXPECT_TRUE(elsewhere.Requests().empty());
    ASSERT_EQ(server_.Requests().size(), 1U);
    EXPECT_EQ(server_.Requests()[0].Header("X-Project-Password"), "secret");
}

TEST_F(HttpTest, etagAndLastModifiedAreReadTrimmed) {
    ScriptedReply reply = ScriptedReply::Status(200, "[]");
    reply.headers = {{"ETag", "  \"v1\"  "}, {"Last-Modified", "Sun, 22 Nov 2026 03:00:00 GMT"}};
    server_.Reply("/list", reply);
    server_.Reply("/none", ScriptedReply::Status(200, "[]"));
    HttpSession session = OpenSession(server_.Url());
    std::wstring etag = L"stale";
    std::wstring lastModified = L"stale";
    HttpRequest request;
    request.endpointPath = L"/list";
    request.outETag = &etag;
    request.outLastModified = &lastModified;
    HttpResult result;
    std::wstring error;
    ASSERT_TRUE(ExecuteHttpRequest(session, request, result, error)) << error.c_str();
    EXPECT_EQ(etag, L"\"v1\"");
    EXPECT_EQ(lastModified, L"Sun, 22 Nov 2026 03:00:00 GMT");
    request.endpointPath = L"/none";
    ASSERT_TRUE(ExecuteHttpRequest(session, request, result, error)) << error.c_str();
    EXPECT_EQ(etag, L"");
    EXPECT_EQ(lastModified, L"");
}

}  // namespace
}  // namespace tavrin
