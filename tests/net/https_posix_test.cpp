// Linux only: certificates are always verified, against the system's authorities or the
// ones OpenSSL's SSL_CERT_FILE names.
#include <gtest/gtest.h>

#include "i18n/translator.h"
#include "net/server_probe.h"
#include "tests/support/http_fixture.h"
#include "tests/support/tls_test_server.h"

namespace tavrin {
namespace {

class HttpsTest : public test::HttpTest {
protected:
    test::TlsTestServer tls_{"secure"};
    std::wstring Url() const { return L"https://127.0.0.1:" + std::to_wstring(tls_.Port()); }
};

TEST_F(HttpsTest, serverSignedByATrustedPrivateAuthorityIsAccepted) {
    const test::ScopedEnvironment trust("SSL_CERT_FILE", test::TlsTestDataFolder() + "/ca.pem");
    HttpSession session = OpenSession(Url());
    std::string body;
    const auto result = Get(session, L"/x", &body);
    ASSERT_TRUE(result.ok) << result.error.c_str();
    EXPECT_EQ(result.result.status, 200U);
    EXPECT_EQ(body, "secure");
}

TEST_F(HttpsTest, serverOfAnUntrustedAuthorityIsRefused) {
    const test::ScopedEnvironment trust("SSL_CERT_FILE", {});
    HttpSession session = OpenSession(Url());
    const auto result = Get(session, L"/x");
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.error.rfind(TrWide("error.winhttp_send_request_failed"), 0), 0U)
        << result.error.c_str();
    EXPECT_EQ(tls_.RequestsAnswered(), 0);
}

TEST_F(HttpsTest, certificateForAnotherNameIsRefused) {
    const test::ScopedEnvironment trust("SSL_CERT_FILE", test::TlsTestDataFolder() + "/ca.pem");
    // The certificate names 127.0.0.1 and localhost, not this address.
    test::TlsTestServer elsewhere("secure", "127.0.0.2");
    HttpSession session = OpenSession(L"https://127.0.0.2:" + std::to_wstring(elsewhere.Port()));
    const auto result = Get(session, L"/x");
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(elsewhere.RequestsAnswered(), 0);
}

TEST_F(HttpsTest, probeOfATrustedServerFindsItAndOfAnUntrustedOneDoesNot) {
    {
        const test::ScopedEnvironment trust("SSL_CERT_FILE", test::TlsTestDataFolder() + "/ca.pem");
        EXPECT_TRUE(ProbeServer(Url()));
        EXPECT_EQ(tls_.RequestsAnswered(), 1);
    }
    const test::ScopedEnvironment trust("SSL_CERT_FILE", {});
    EXPECT_FALSE(ProbeServer(Url()));
    EXPECT_EQ(tls_.RequestsAnswered(), 1);
}

}  // namespace
}  // namespace tavrin
