#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace tavrin::test {

// An HTTPS server on 127.0.0.1 with the test certificate of tests/data/tls (signed by the
// test authority ca.pem), answering every request with 200 and `body`. Linux builds only:
// the Windows test build has no TLS server library.
class TlsTestServer {
public:
    explicit TlsTestServer(std::string body, const std::string& address = "127.0.0.1");
    ~TlsTestServer();
    TlsTestServer(const TlsTestServer&) = delete;
    TlsTestServer& operator=(const TlsTestServer&) = delete;

    std::uint16_t Port() const;
    int RequestsAnswered() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// The folder of the test certificates.
std::string TlsTestDataFolder();

}  // namespace tavrin::test
