#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrin::test {

// What the test server answers to one request, faults included.
struct ScriptedReply {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    bool gzip = false;                                    // send the body gzip-encoded
    std::optional<std::uint64_t> contentLength;           // declared length, when not the real one
    bool chunked = false;                                 // Transfer-Encoding: chunked
    int delayBeforeAnswerMs = 0;                          // silence before the status line
    bool neverAnswer = false;                             // silence until the server stops
    bool dropWithoutAnswer = false;                       // close at once, not a byte sent
    std::size_t stallAfterBodyBytes = std::string::npos;  // then silence until stopped
    std::size_t dropAfterBodyBytes = std::string::npos;   // then close the connection
    std::size_t dripBytes = 0;                            // send the body in pieces this big...
    int dripIntervalMs = 0;                               // ...this far apart
    bool endlessBody = false;                             // keep sending until the client leaves
    bool closeConnection = false;                         // Connection: close

    static ScriptedReply Status(int status, std::string body = {});
};

// A request as the server received it.
struct RecordedRequest {
    std::string raw;  // request line and header lines as received, CR LF included
    std::string method;
    std::string target;
    std::vector<std::pair<std::string, std::string>> headers;  // in the order received
    int connection = 0;  // 1-based number of the connection it came on

    std::optional<std::string> Header(std::string_view name) const;  // case-insensitive
};

// A real HTTP/1.1 server on 127.0.0.1 with scripted answers and a record of every request,
// running in the test's own process (so the Windows build under Wine has one too). Each
// connection is served on its own thread; keep-alive is honoured.
class TestHttpServer {
public:
    TestHttpServer();
    ~TestHttpServer();
    TestHttpServer(const TestHttpServer&) = delete;
    TestHttpServer& operator=(const TestHttpServer&) = delete;

    std::uint16_t Port() const;
    std::wstring Url() const;  // "http://127.0.0.1:<port>"

    // Answers requests for `target` (path and query, exactly) with the replies in turn; the
    // last one repeats.
    void Reply(const std::string& target, ScriptedReply reply);
    void ReplySequence(const std::string& target, std::vector<ScriptedReply> replies);
    // Answers every other request; without it they get 404.
    void ReplyOtherwise(std::function<ScriptedReply(const RecordedRequest&)> handler);

    std::vector<RecordedRequest> Requests() const;
    std::vector<RecordedRequest> RequestsFor(std::string_view target) const;
    int ConnectionsAccepted() const;

    // Ends every open connection and stops answering.
    void Stop();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// `body` as a gzip stream (stored, uncompressed blocks), as a server would send it.
std::string Gzip(std::string_view body);

}  // namespace tavrin::test
