#include <utility>

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>

#include <atomic>
#include <thread>

#include "tests/support/tls_test_server.h"

namespace tavrin::test {

namespace asio = boost::asio;
using asio::ip::tcp;

std::string TlsTestDataFolder() {
    return std::string(TAVRIN_SOURCE_DIR) + "/tests/data/tls";
}

struct TlsTestServer::Impl {
    asio::io_context io;
    asio::ssl::context tls{asio::ssl::context::tls_server};
    tcp::acceptor acceptor{io};
    std::string body;
    std::uint16_t port = 0;
    std::string address;
    std::atomic<bool> stopping{false};
    std::atomic<int> answered{0};
    std::thread thread;

    void Serve() {
        while (!stopping) {
            asio::ssl::stream<tcp::socket> stream(io, tls);
            boost::system::error_code ec;
            acceptor.accept(stream.lowest_layer(), ec);
            if (ec || stopping) {
                return;
            }
            stream.handshake(asio::ssl::stream_base::server, ec);
            if (ec) {
                continue;  // the client refused our certificate
            }
            asio::streambuf request;
            asio::read_until(stream, request, "\r\n\r\n", ec);
            if (ec) {
                continue;
            }
            const std::string reply =
                "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\nConnection: close\r\n\r\n" + body;
            // Counted before the reply leaves: a client may see it and ask for the count at once.
            ++answered;
            asio::write(stream, asio::buffer(reply), ec);
            stream.shutdown(ec);
        }
    }
};

TlsTestServer::TlsTestServer(std::string body, const std::string& address)
    : impl_(std::make_unique<Impl>()) {
    impl_->body = std::move(body);
    impl_->tls.use_certificate_chain_file(TlsTestDataFolder() + "/server.pem");
    impl_->tls.use_private_key_file(TlsTestDataFolder() + "/server.key", asio::ssl::context::pem);
    const tcp::endpoint endpoint(asio::ip::make_address(address), 0);
    impl_->address = address;
    impl_->acceptor.open(endpoint.protocol());
    impl_->acceptor.bind(endpoint);
    impl_->acceptor.listen();
    impl_->port = impl_->acceptor.local_endpoint().port();
    impl_->thread = std::thread([this] { impl_->Serve(); });
}

TlsTestServer::~TlsTestServer() {
    impl_->stopping = true;
    boost::system::error_code ignored;
    tcp::socket knock(impl_->io);
    knock.connect({asio::ip::make_address(impl_->address), impl_->port}, ignored);
    knock.close(ignored);
    impl_->thread.join();
}

std::uint16_t TlsTestServer::Port() const {
    return impl_->port;
}

int TlsTestServer::RequestsAnswered() const {
    return impl_->answered;
}

}  // namespace tavrin::test
