#include "net/server_endpoint.h"

#include <gtest/gtest.h>

#include "i18n/translator.h"
#include "net/http_session.h"

namespace tavrin {
namespace {

std::wstring Normalize(std::wstring_view text, bool allowHttp = true) {
    std::wstring canonical;
    std::wstring error;
    EXPECT_TRUE(NormalizeServerUrl(text, allowHttp, canonical, error))
        << std::wstring(text).c_str() << ": " << error.c_str();
    return canonical;
}

std::wstring NormalizeError(std::wstring_view text, bool allowHttp) {
    std::wstring canonical;
    std::wstring error;
    EXPECT_FALSE(NormalizeServerUrl(text, allowHttp, canonical, error))
        << std::wstring(text).c_str() << " gave " << canonical.c_str();
    return error;
}

TEST(NormalizeServerUrlTest, defaultPortAndTrailingSlashesGoAndHostCaseStays) {
    EXPECT_EQ(Normalize(L"  https://Host1:443/base///  "), L"https://Host1/base");
}

TEST(NormalizeServerUrlTest, textWithoutSchemeMeansHttps) {
    EXPECT_EQ(Normalize(L" host1/ "), L"https://host1");
    EXPECT_EQ(Normalize(L"h"), L"https://h");
    EXPECT_EQ(Normalize(L"ab"), L"https://ab");
    EXPECT_EQ(Normalize(L"example.com:8443/sync/"), L"https://example.com:8443/sync");
}

TEST(NormalizeServerUrlTest, plainHttpNeedsTheLockOff) {
    EXPECT_EQ(NormalizeError(L"http://h:8080", false), TrWide("error.http_requires_unlock"));
    EXPECT_EQ(Normalize(L"http://h:8080", true), L"http://h:8080");
    EXPECT_EQ(Normalize(L"http://h:80/a/b//", true), L"http://h/a/b");
    EXPECT_EQ(Normalize(L"HTTP://h", true), L"http://h");
}

TEST(NormalizeServerUrlTest, portsAreKeptUnlessTheSchemesDefault) {
    EXPECT_EQ(Normalize(L"https://h:80"), L"https://h:80");
    EXPECT_EQ(Normalize(L"https://h:8443/"), L"https://h:8443");
    EXPECT_EQ(Normalize(L"http://h:443", true), L"http://h:443");
}

TEST(NormalizeServerUrlTest, onlyHttpAndHttpsAreAccepted) {
    EXPECT_EQ(NormalizeError(L"ftp://h/x", false), TrWide("error.only_http_https"));
    EXPECT_EQ(NormalizeError(L"ftp://h/x", true), TrWide("error.only_http_https"));
}

TEST(NormalizeServerUrlTest, blankAndBrokenTextsAreRefused) {
    EXPECT_EQ(NormalizeError(L" \t\r\n", true), TrWide("error.empty_domain"));
    EXPECT_EQ(NormalizeError(L"https://", true), TrWide("error.invalid_domain_url"));
    EXPECT_EQ(NormalizeError(L"https://h:99999", true), TrWide("error.invalid_domain_url"));
}

TEST(NormalizeServerUrlTest, policyFormReadsTheProcessWideLock) {
    const bool previous = plainHttpAllowed.exchange(false);
    std::wstring canonical;
    std::wstring error;
    EXPECT_FALSE(NormalizeServerUrlWithPolicy(L"http://h", canonical, error));
    EXPECT_EQ(error, TrWide("error.http_requires_unlock"));
    plainHttpAllowed = true;
    EXPECT_TRUE(NormalizeServerUrlWithPolicy(L"http://h", canonical, error));
    EXPECT_EQ(canonical, L"http://h");
    plainHttpAllowed = previous;
}

TEST(ParseServerEndpointTest, splitsACanonicalUrl) {
    ServerEndpoint endpoint;
    std::wstring error;
    ASSERT_TRUE(ParseServerEndpoint(L"https://Host1:8443/base/sub", endpoint, error));
    EXPECT_EQ(endpoint.scheme, kSchemeHttps);
    EXPECT_EQ(endpoint.host, L"Host1");
    EXPECT_EQ(endpoint.port, 8443);
    EXPECT_EQ(endpoint.basePath, L"/base/sub");
    ASSERT_TRUE(ParseServerEndpoint(L"http://h", endpoint, error));
    EXPECT_EQ(endpoint.scheme, kSchemeHttp);
    EXPECT_EQ(endpoint.port, 80);
    EXPECT_EQ(endpoint.basePath, L"");
}

TEST(ParseServerEndpointTest, singleSlashGivesAnEmptyBasePath) {
    ServerEndpoint endpoint;
    std::wstring error;
    ASSERT_TRUE(ParseServerEndpoint(L"https://h/", endpoint, error));
    EXPECT_EQ(endpoint.basePath, L"");
    EXPECT_EQ(endpoint.port, 443);
    EXPECT_EQ(JoinRequestPath(endpoint.basePath, L"/list_projects"), L"/list_projects");
}

TEST(ParseServerEndpointTest, textThatIsNoUrlCannotBeParsed) {
    ServerEndpoint endpoint;
    std::wstring error;
    EXPECT_FALSE(ParseServerEndpoint(L"not a url", endpoint, error));
    EXPECT_EQ(error, TrWide("error.domain_parse_failed"));
}

TEST(JoinRequestPathTest, joinsWithExactlyOneSlash) {
    EXPECT_EQ(JoinRequestPath(L"/a", L"x"), L"/a/x");
    EXPECT_EQ(JoinRequestPath(L"/a", L""), L"/a");
    EXPECT_EQ(JoinRequestPath(L"/sync", L"/list_projects"), L"/sync/list_projects");
    EXPECT_EQ(JoinRequestPath(L"", L"/changes?since=1"), L"/changes?since=1");
}

TEST(HttpTimeoutsTest, waitsOfAHundredMillisecondsOrLessBecomeAHundred) {
    const HttpTimeouts clamped = ClampTimeouts({0, 50, 100, 101});
    EXPECT_EQ(clamped.resolveMs, 100);
    EXPECT_EQ(clamped.connectMs, 100);
    EXPECT_EQ(clamped.sendMs, 100);
    EXPECT_EQ(clamped.receiveMs, 101);
}

TEST(OpenHttpSessionTest, plainHttpIsRefusedWhileTheLockIsOn) {
    const bool previous = plainHttpAllowed.exchange(false);
    HttpSession session;
    session.endpoint = {kSchemeHttp, L"127.0.0.1", 80, L""};
    std::wstring error;
    EXPECT_FALSE(OpenHttpSession(session, error, kProjectListTimeouts));
    EXPECT_EQ(error, TrWide("error.http_requires_unlock"));
    session.endpoint.scheme = 7;
    plainHttpAllowed = true;
    EXPECT_FALSE(OpenHttpSession(session, error, kProjectListTimeouts));
    EXPECT_EQ(error, TrWide("error.only_http_https"));
    plainHttpAllowed = previous;
}

}  // namespace
}  // namespace tavrin
