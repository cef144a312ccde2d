#pragma once

#include <memory>
#include <string>

#include "net/server_endpoint.h"

namespace tavrin {

// The four waits of a session, in milliseconds. Resolve and connect bound the opening of a
// connection; send and receive are the longest silences allowed while a request goes out and
// while its answer (headers or body) comes in.
struct HttpTimeouts {
    int resolveMs = 0;
    int connectMs = 0;
    int sendMs = 0;
    int receiveMs = 0;
};

// The waits of each kind of work.
inline constexpr HttpTimeouts kProjectListTimeouts{2000, 2000, 2500, 2500};
inline constexpr HttpTimeouts kSyncTimeouts{10000, 10000, 30000, 30000};
inline constexpr HttpTimeouts kDownloadTimeouts{10000, 10000, 30000, 30000};

// The platform's open connection state (WinHTTP handles, or a curl handle).
struct HttpConnection;

// One server's session: opened once, used for any number of sequential requests, which
// reuse one keep-alive connection. Owned and used by one thread at a time.
struct HttpSession {
    HttpSession();
    ~HttpSession();
    HttpSession(HttpSession&&) noexcept;
    HttpSession& operator=(HttpSession&&) noexcept;

    ServerEndpoint endpoint;  // filled by the creator before opening
    std::wstring clientId;    // sent as "X-Client-ID" when not empty
    HttpTimeouts timeouts;    // as applied: each raised to at least 100 ms
    // Whether the platform inflates gzip answers. Where it cannot (WinHTTP before Windows 8.1,
    // and Wine), no gzip is asked for, since a raw gzip body would read as garbage.
    bool decompression = false;
    std::unique_ptr<HttpConnection> connection;  // null until opened
};

// Opens the session for its endpoint. Refuses plain HTTP while the HTTP lock is on, checked
// again here since the lock may have been switched on after the address was accepted.
bool OpenHttpSession(HttpSession& session, std::wstring& errorText, int resolveMs, int connectMs,
                     int sendMs, int receiveMs);
bool OpenHttpSession(HttpSession& session, std::wstring& errorText, const HttpTimeouts& timeouts);

// Each wait of 100 ms or less becomes 100 ms.
HttpTimeouts ClampTimeouts(const HttpTimeouts& timeouts);

// The platform part of opening; the checks are done.
bool OpenHttpConnection(HttpSession& session, std::wstring& errorText);

}  // namespace tavrin
