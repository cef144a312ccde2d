// Windows side of sessions: WinHTTP with automatic proxy detection, gzip and deflate inflated
// by WinHTTP itself, and the four waits.
#include "net/http_connection_win.h"
#include "net/http_session.h"
#include "net/system_error.h"

namespace tavrin {

HttpConnection::~HttpConnection() {
    if (connect != nullptr) {
        WinHttpCloseHandle(connect);
    }
    if (session != nullptr) {
        WinHttpCloseHandle(session);
    }
}

HttpSession::HttpSession() = default;
HttpSession::~HttpSession() = default;
HttpSession::HttpSession(HttpSession&&) noexcept = default;
HttpSession& HttpSession::operator=(HttpSession&&) noexcept = default;

bool OpenHttpConnection(HttpSession& session, std::wstring& errorText) {
    auto connection = std::make_unique<HttpConnection>();
    connection->session = WinHttpOpen(L"Tavrin/1.0", WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY,
                                      WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
    if (connection->session == nullptr) {
        const DWORD code = GetLastError();
        errorText = FormatSystemError("error.winhttp_open_failed", code);
        return false;
    }
    DWORD decompression = WINHTTP_DECOMPRESSION_FLAG_GZIP | WINHTTP_DECOMPRESSION_FLAG_DEFLATE;
    session.decompression = WinHttpSetOption(connection->session, WINHTTP_OPTION_DECOMPRESSION,
                                             &decompression, sizeof decompression) != FALSE;
    const HttpTimeouts& t = session.timeouts;
    WinHttpSetTimeouts(connection->session, t.resolveMs, t.connectMs, t.sendMs, t.receiveMs);
    // Without this, the wait for response headers is not bounded by the receive time-out on
    // older Windows and under Wine.
    DWORD headerWait = static_cast<DWORD>(t.receiveMs);
    WinHttpSetOption(connection->session, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &headerWait,
                     sizeof headerWait);
    connection->connect = WinHttpConnect(connection->session, session.endpoint.host.c_str(),
                                         session.endpoint.port, 0);
    if (connection->connect == nullptr) {
        const DWORD code = GetLastError();
        errorText = FormatSystemError("error.winhttp_connect_failed", code);
        session.connection = std::move(connection);  // closed with the session
        return false;
    }
    session.connection = std::move(connection);
    return true;
}

}  // namespace tavrin
