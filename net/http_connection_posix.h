#pragma once

#include <curl/curl.h>

namespace tavrin {

// A Linux session's transfer handles. The multi handle owns the connection cache, so
// sequential requests of one session reuse one keep-alive connection.
struct HttpConnection {
    CURL* easy = nullptr;
    CURLM* multi = nullptr;
    ~HttpConnection();
};

}  // namespace tavrin
