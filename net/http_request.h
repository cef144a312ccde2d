#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "net/http_session.h"
#include "net/output_file.h"
#include "net/rate_limit.h"

namespace tavrin {

// What the answer said about its body.
struct HttpResponseInfo {
    bool gzipEncoded = false;          // Content-Encoding mentions gzip
    std::uint64_t declaredLength = 0;  // Content-Length, when known and the body was not gzip
    std::uint64_t bodyBytesInMemory = 0;
};

// One request. The body goes to `outFilePath` when given, else into `outBody` when given,
// else nowhere. `cancelFlag` is read before every chunk of at most 64 KiB.
struct HttpRequest {
    std::wstring verb = L"GET";
    std::wstring endpointPath;  // begins with "/", query included
    std::optional<std::filesystem::path> outFilePath;
    // The file must not exist yet (a download's temporary file): a link or file already at
    // the path fails the request instead of being written through.
    bool outFileMustBeNew = false;
    // A file the caller has opened already (the download's temporary file, created relative
    // to its folder); it takes precedence over `outFilePath` and the caller closes it.
    OutputFile* outFile = nullptr;
    std::string* outBody = nullptr;
    const std::atomic<bool>* cancelFlag = nullptr;
    std::wstring extraHeaders;  // complete header lines; a password line turns redirects off
    std::wstring* outETag = nullptr;
    std::wstring* outLastModified = nullptr;
    // When set: the exchange stops as soon as more body bytes than this have arrived, so a
    // server cannot fill the disk; `HttpResult::bodyLimitExceeded` then tells so.
    std::optional<std::uint64_t> bodyLimit;
    // When set: every body chunk waits for its turn in this budget, shared with the other
    // requests that hold it.
    RateLimit* rateLimit = nullptr;
};

struct HttpResult {
    std::uint32_t status = 0;  // valid whenever the status line was read
    std::uint64_t bytesRead = 0;
    HttpResponseInfo info;
    bool bodyLimitExceeded = false;
};

// Performs one exchange on the session's connection. True when it completed, whatever the
// status; false with a translated `errorText` otherwise. A file left half-written by a
// failure stays; removing it is the caller's business.
bool ExecuteHttpRequest(HttpSession& session, const HttpRequest& request, HttpResult& result,
                        std::wstring& errorText);

// Ends, from another thread, the requests in flight that read `cancelFlag`, which the caller
// has set: a wait for an answer (a long poll, a server that accepted and says nothing) ends
// at once instead of at its time-out. On Windows the request handles are closed; elsewhere the
// transfer loop reads the flag every 50 ms.
void InterruptRequests(const std::atomic<bool>* cancelFlag);

// The request's header block, each line ending in CR LF: Accept-Encoding (when gzip can be
// decoded), Cache-Control, X-Client-ID (when there is one), then the caller's lines.
std::wstring BuildRequestHeaders(std::wstring_view clientId, std::wstring_view extraHeaders,
                                 bool acceptGzip = true);

// True when the caller's lines carry a project password: such a request follows no redirect,
// so the password never reaches another host or port.
bool CarriesPassword(std::wstring_view extraHeaders);

// A response header value as stored: trimmed of space, tab, CR and LF.
std::wstring CleanHeaderValue(std::wstring_view value);

}  // namespace tavrin
