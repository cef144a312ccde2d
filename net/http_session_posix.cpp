// Linux side of sessions: one curl easy handle driven through its own multi handle, so that
// the session's requests share one connection cache (keep-alive) and the transfer loop can
// watch the send and receive waits to the millisecond.
#include <curl/curl.h>

#include <mutex>

#include "i18n/translator.h"
#include "net/curl_error.h"
#include "net/http_connection_posix.h"
#include "net/http_session.h"

namespace tavrin {

HttpConnection::~HttpConnection() {
    if (multi != nullptr) {
        curl_multi_cleanup(multi);
    }
    if (easy != nullptr) {
        curl_easy_cleanup(easy);
    }
}

HttpSession::HttpSession() = default;
HttpSession::~HttpSession() = default;
HttpSession::HttpSession(HttpSession&&) noexcept = default;
HttpSession& HttpSession::operator=(HttpSession&&) noexcept = default;

bool OpenHttpConnection(HttpSession& session, std::wstring& errorText) {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    auto connection = std::make_unique<HttpConnection>();
    connection->easy = curl_easy_init();
    connection->multi = curl_multi_init();
    if (connection->easy == nullptr || connection->multi == nullptr) {
        errorText = FormatCurlError("error.winhttp_open_failed", CURLE_FAILED_INIT);
        return false;
    }
    session.connection = std::move(connection);
    session.decompression = true;  // curl inflates gzip and deflate itself
    return true;
}

}  // namespace tavrin
