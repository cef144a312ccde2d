#include "tests/support/test_http_server.h"

// Boost 1.74's Asio needs <utility> before it with GCC 12.
#include <utility>

#include <boost/asio.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <thread>

namespace tavrin::test {

namespace asio = boost::asio;
using asio::ip::tcp;

ScriptedReply ScriptedReply::Status(int status, std::string body) {
    ScriptedReply reply;
    reply.status = status;
    reply.body = std::move(body);
    return reply;
}

std::optional<std::string> RecordedRequest::Header(std::string_view name) const {
    const auto lower = [](std::string_view text) {
        std::string out(text);
        for (char& c : out) {
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        return out;
    };
    for (const auto& [key, value] : headers) {
        if (lower(key) == lower(name)) {
            return value;
        }
    }
    return std::nullopt;
}

namespace {

const char* ReasonPhrase(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 301:
            return "Moved Permanently";
        case 302:
            return "Found";
        case 304:
            return "Not Modified";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 404:
            return "Not Found";
        case 500:
            return "Internal Server Error";
        default:
            return "Status";
    }
}

std::uint32_t Crc32(std::string_view data) {
    std::uint32_t crc = 0xFFFFFFFFU;
    for (const char c : data) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ (0xEDB88320U & (0U - (crc & 1U)));
        }
    }
    return crc ^ 0xFFFFFFFFU;
}

void AppendLittleEndian(std::string& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
    }
}

RecordedRequest ParseRequest(const std::string& raw, int connection) {
    RecordedRequest request;
    request.raw = raw;
    request.connection = connection;
    std::size_t lineEnd = raw.find("\r\n");
    const std::string requestLine = raw.substr(0, lineEnd);
    const std::size_t firstSpace = requestLine.find(' ');
    const std::size_t secondSpace = requestLine.find(' ', firstSpace + 1);
    request.method = requestLine.substr(0, firstSpace);
    request.target = requestLine.substr(firstSpace + 1, secondSpace - firstSpace - 1);
    std::size_t start = lineEnd + 2;
    while (start < raw.size()) {
        lineEnd = raw.find("\r\n", start);
        if (lineEnd == std::string::npos || lineEnd == start) {
            break;
        }
        const std::string line = raw.substr(start, lineEnd - start);
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos) {
            std::size_t valueStart = colon + 1;
            while (valueStart < line.size() && line[valueStart] == ' ') {
                ++valueStart;
            }
            request.headers.emplace_back(line.substr(0, colon), line.substr(valueStart));
        }
        start = lineEnd + 2;
    }
    return request;
}

}  // namespace

std::string Gzip(std::string_view body) {
    std::string out("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\xff", 10);
    std::size_t offset = 0;
    do {
        const std::size_t length = std::min<std::size_t>(body.size() - offset, 65535);
        const bool last = offset + length == body.size();
        out.push_back(last ? '\x01' : '\x00');
        AppendLittleEndian(out, static_cast<std::uint32_t>(length), 2);
        AppendLittleEndian(out, static_cast<std::uint32_t>(~length & 0xFFFF), 2);
        out.append(body.substr(offset, length));
        offset += length;
    } while (offset < body.size());
    AppendLittleEndian(out, Crc32(body), 4);
    AppendLittleEndian(out, static_cast<std::uint32_t>(body.size()), 4);
    return out;
}

struct TestHttpServer::Impl {
    asio::io_context io;
    tcp::acceptor acceptor{io};
    std::uint16_t port = 0;
    std::thread acceptThread;

    mutable std::mutex mutex;
    std::condition_variable stopped;
    bool stopping = false;
    std::vector<std::shared_ptr<tcp::socket>> sockets;
    std::vector<std::thread> connectionThreads;
    std::map<std::string, std::vector<ScriptedReply>> routes;
    std::map<std::string, std::size_t> served;
    std::function<ScriptedReply(const RecordedRequest&)> fallback;
    std::vector<RecordedRequest> requests;
    int connections = 0;

    // Waits, unless the server stops first; false when it stopped.
    bool Wait(int milliseconds) {
        std::unique_lock lock(mutex);
        return !stopped.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                 [this] { return stopping; });
    }

    void WaitForStop() {
        std::unique_lock lock(mutex);
        stopped.wait(lock, [this] { return stopping; });
    }

    ScriptedReply Choose(const RecordedRequest& request) {
        std::lock_guard lock(mutex);
        requests.push_back(request);
        const auto route = routes.find(request.target);
        if (route != routes.end() && !route->second.empty()) {
            std::size_t& index = served[request.target];
            const ScriptedReply& reply = route->second[std::min(index, route->second.size() - 1)];
            ++index;
            return reply;
        }
        if (fallback) {
            return fallback(request);
        }
        return ScriptedReply::Status(404, "not found");
    }

    void AcceptLoop() {
        while (true) {
            auto socket = std::make_shared<tcp::socket>(io);
            boost::system::error_code ec;
            acceptor.accept(*socket, ec);
            std::lock_guard lock(mutex);
            if (ec || stopping) {
                return;
            }
            socket->set_option(tcp::no_delay(true), ec);
            sockets.push_back(socket);
            const int number = ++connections;
            connectionThreads.emplace_back([this, socket, number] { Serve(*socket, number); });
        }
    }

    // Reads up to the end of a request head. The socket is polled rather than blocked on, so
    // that a connection the client keeps idle (WinHTTP pools them for 30 s) ends as soon as
    // the server stops.
    bool ReadRequestHead(tcp::socket& socket, std::string& pending, std::string& head) {
        std::array<char, 4096> chunk{};
        while (true) {
            const std::size_t end = pending.find("\r\n\r\n");
            if (end != std::string::npos) {
                head = pending.substr(0, end + 4);
                pending.erase(0, end + 4);
                return true;
            }
            boost::system::error_code ec;
            boost::system::error_code modeError;
            socket.non_blocking(true, modeError);
            const std::size_t count = socket.read_some(asio::buffer(chunk), ec);
            socket.non_blocking(false, modeError);
            if (ec == asio::error::would_block || ec == asio::error::try_again) {
                if (!Wait(5)) {
                    return false;
                }
                continue;
            }
            if (ec) {
                return false;
            }
            pending.append(chunk.data(), count);
        }
    }

    void Serve(tcp::socket& socket, int number) {
        std::string pending;
        std::string head;
        while (ReadRequestHead(socket, pending, head)) {
            const RecordedRequest request = ParseRequest(head, number);
            const ScriptedReply reply = Choose(request);
            if (!Answer(socket, reply) || reply.closeConnection) {
                break;
            }
        }
        boost::system::error_code ignored;
        socket.shutdown(tcp::socket::shutdown_both, ignored);
        socket.close(ignored);
    }

    static bool Send(tcp::socket& socket, std::string_view bytes) {
        boost::system::error_code ec;
        asio::write(socket, asio::buffer(bytes.data(), bytes.size()), ec);
        return !ec;
    }

    // Sends one answer; false when the connection must end.
    bool Answer(tcp::socket& socket, const ScriptedReply& reply) {
        if (reply.dropWithoutAnswer) {
            return false;
        }
        if (reply.neverAnswer) {
            WaitForStop();
            return false;
        }
        if (reply.delayBeforeAnswerMs > 0 && !Wait(reply.delayBeforeAnswerMs)) {
            return false;
        }
        const std::string body = reply.gzip ? Gzip(reply.body) : reply.body;
        std::string head =
            "HTTP/1.1 " + std::to_string(reply.status) + " " + ReasonPhrase(reply.status) + "\r\n";
        for (const auto& [name, value] : reply.headers) {
            head += name + ": " + value + "\r\n";
        }
        if (reply.gzip) {
            head += "Content-Encoding: gzip\r\n";
        }
        if (reply.chunked || reply.endlessBody) {
            head += "Transfer-Encoding: chunked\r\n";
        } else {
            head += "Content-Length: " + std::to_string(reply.contentLength.value_or(body.size())) +
                    "\r\n";
        }
        if (reply.closeConnection) {
            head += "Connection: close\r\n";
        }
        head += "\r\n";
        if (!Send(socket, head)) {
            return false;
        }
        return SendBody(socket, reply, body);
    }

    bool SendPiece(tcp::socket& socket, const ScriptedReply& reply, std::string_view piece) {
        if (piece.empty()) {
            return true;
        }
        if (reply.chunked || reply.endlessBody) {
            char size[32];
            std::snprintf(size, sizeof size, "%zx\r\n", piece.size());
            return Send(socket, size) && Send(socket, piece) && Send(socket, "\r\n");
        }
        return Send(socket, piece);
    }

    bool SendBody(tcp::socket& socket, const ScriptedReply& reply, std::string_view body) {
        const std::size_t stopAt =
            std::min({body.size(), reply.stallAfterBodyBytes, reply.dropAfterBodyBytes});
        const std::size_t step = reply.dripBytes > 0 ? reply.dripBytes : 65536;
        for (std::size_t offset = 0; offset < stopAt; offset += step) {
            if (offset > 0 && reply.dripIntervalMs > 0 && !Wait(reply.dripIntervalMs)) {
                return false;
            }
            if (!SendPiece(socket, reply, body.substr(offset, std::min(step, stopAt - offset)))) {
                return false;
            }
        }
        if (reply.stallAfterBodyBytes <= body.size()) {
            WaitForStop();
            return false;
        }
        if (reply.dropAfterBodyBytes <= body.size()) {
            return false;
        }
        if (reply.endlessBody) {
            const std::string filler(65536, 'x');
            while (SendPiece(socket, reply, filler)) {
                std::lock_guard lock(mutex);
                if (stopping) {
                    return false;
                }
            }
            return false;
        }
        if (reply.chunked) {
            return Send(socket, "0\r\n\r\n");
        }
        return true;
    }
};

TestHttpServer::TestHttpServer() : impl_(std::make_unique<Impl>()) {
    const tcp::endpoint endpoint(asio::ip::make_address("127.0.0.1"), 0);
    impl_->acceptor.open(endpoint.protocol());
    impl_->acceptor.bind(endpoint);
    impl_->acceptor.listen();
    impl_->port = impl_->acceptor.local_endpoint().port();
    impl_->acceptThread = std::thread([this] { impl_->AcceptLoop(); });
}

TestHttpServer::~TestHttpServer() {
    Stop();
}

void TestHttpServer::Stop() {
    std::vector<std::thread> threads;
    {
        std::lock_guard lock(impl_->mutex);
        if (impl_->stopping) {
            return;
        }
        impl_->stopping = true;
        boost::system::error_code ignored;
        impl_->acceptor.close(ignored);
        // Shutting down (not closing) wakes the connection threads' blocking reads; each
        // thread closes its own socket.
        for (const auto& socket : impl_->sockets) {
            socket->shutdown(tcp::socket::shutdown_both, ignored);
        }
    }
    impl_->stopped.notify_all();
    // The accept call may not notice the closed acceptor everywhere: knock once.
    {
        boost::system::error_code ignored;
        tcp::socket knock(impl_->io);
        knock.connect({asio::ip::make_address("127.0.0.1"), impl_->port}, ignored);
    }
    if (impl_->acceptThread.joinable()) {
        impl_->acceptThread.join();
    }
    {
        std::lock_guard lock(impl_->mutex);
        threads.swap(impl_->connectionThreads);
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

std::uint16_t TestHttpServer::Port() const {
    return impl_->port;
}

std::wstring TestHttpServer::Url() const {
    return L"http://127.0.0.1:" + std::to_wstring(impl_->port);
}

void TestHttpServer::Reply(const std::string& target, ScriptedReply reply) {
    ReplySequence(target, {std::move(reply)});
}

void TestHttpServer::ReplySequence(const std::string& target, std::vector<ScriptedReply> replies) {
    std::lock_guard lock(impl_->mutex);
    impl_->routes[target] = std::move(replies);
    impl_->served[target] = 0;
}

void TestHttpServer::ReplyOtherwise(std::function<ScriptedReply(const RecordedRequest&)> handler) {
    std::lock_guard lock(impl_->mutex);
    impl_->fallback = std::move(handler);
}

std::vector<RecordedRequest> TestHttpServer::Requests() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->requests;
}

std::vector<RecordedRequest> TestHttpServer::RequestsFor(std::string_view target) const {
    std::vector<RecordedRequest> found;
    for (const RecordedRequest& request : Requests()) {
        if (request.target == target) {
            found.push_back(request);
        }
    }
    return found;
}

int TestHttpServer::ConnectionsAccepted() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->connections;
}

}  // namespace tavrin::test
