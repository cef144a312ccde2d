#pragma once

#include <gtest/gtest.h>

#include <string>

#include "net/http_request.h"
#include "net/http_session.h"
#include "net/server_endpoint.h"
#include "tests/support/sandbox.h"
#include "tests/support/test_http_server.h"

namespace tavrin::test {

inline constexpr const char* kNoDecompressionReason =
    "this WinHTTP refuses WINHTTP_OPTION_DECOMPRESSION (Wine: error 12009), so the client asks "
    "for no gzip and cannot be shown a gzip answer; Windows 8.1 and later inflate gzip";

// A test server, a sandbox and plain HTTP allowed (the test server speaks plain HTTP), with
// the HTTP lock restored afterwards.
class HttpTest : public ::testing::Test {
protected:
    void SetUp() override { previousLock_ = plainHttpAllowed.exchange(true); }
    void TearDown() override { plainHttpAllowed = previousLock_; }

    HttpSession OpenSession(const std::wstring& url, const std::wstring& clientId = L"",
                            HttpTimeouts timeouts = {2000, 2000, 5000, 5000}) {
        HttpSession session;
        std::wstring canonical;
        std::wstring error;
        EXPECT_TRUE(NormalizeServerUrl(url, true, canonical, error)) << error.c_str();
        EXPECT_TRUE(ParseServerEndpoint(canonical, session.endpoint, error)) << error.c_str();
        session.clientId = clientId;
        EXPECT_TRUE(OpenHttpSession(session, error, timeouts)) << error.c_str();
        return session;
    }

    struct Exchange {
        bool ok = false;
        HttpResult result;
        std::wstring error;
    };

    Exchange Get(HttpSession& session, const std::wstring& path, std::string* body = nullptr,
                 const std::wstring& extraHeaders = L"") {
        HttpRequest request;
        request.endpointPath = path;
        request.outBody = body;
        request.extraHeaders = extraHeaders;
        Exchange exchange;
        exchange.ok = ExecuteHttpRequest(session, request, exchange.result, exchange.error);
        return exchange;
    }

    TestHttpServer server_;
    Sandbox sandbox_;

private:
    bool previousLock_ = false;
};

// Whether this platform's HTTP stack inflates gzip answers.
inline bool HttpDecompressionWorks() {
    HttpSession session;
    session.endpoint = {kSchemeHttps, L"127.0.0.1", 443, L""};
    std::wstring error;
    return OpenHttpSession(session, error, {100, 100, 100, 100}) && session.decompression;
}

}  // namespace tavrin::test
