#pragma once

#include <windows.h>

#include <winhttp.h>

namespace tavrin {

// A Windows session's WinHTTP handles, closed connection first, then session.
struct HttpConnection {
    HINTERNET session = nullptr;
    HINTERNET connect = nullptr;
    ~HttpConnection();
};

}  // namespace tavrin
