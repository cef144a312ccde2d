// Linux side of request execution: libcurl. The observable behaviour follows the WinHTTP
// backend: the same header block, gzip decoded transparently, a body streamed to a file or
// memory in chunks of at most 64 KiB with the cancel flag read before each, the same error
// keys, and a short body ending the read like the end of the body.
#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/curl_error.h"
#include "net/http_connection_posix.h"
#include "net/http_request.h"
#include "net/output_file.h"

namespace tavrin {
namespace {

using Clock = std::chrono::steady_clock;

struct HeaderListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, HeaderListDeleter>;

enum class Stop { kNone, kCancelled, kOpenFailed, kWriteFailed, kLimit, kStalled };

// The state of one exchange, shared with curl's callbacks.
struct Transfer {
    const HttpRequest* request = nullptr;
    // Headers of the response being read; a redirect or an interim answer starts afresh.
    std::string etag;
    std::string lastModified;
    std::string contentEncoding;
    std::string contentLength;
    bool statusLineSeen = false;
    bool headersComplete = false;
    // The sink, opened when the first body byte arrives or the body ends empty.
    bool sinkOpen = false;
    OutputFile file;
    OutputFile* sink = nullptr;  // the caller's file or `file`
    std::uint64_t total = 0;
    Stop stop = Stop::kNone;
    // A flag already set when the request began lets it reach its status line; one set while
    // it runs ends it even while it waits for an answer.
    bool cancelledAtStart = false;
    // Progress as curl last reported it, so that a change counts as activity.
    curl_off_t downloaded = -1;
    curl_off_t uploaded = -1;
    Clock::time_point lastActivity = Clock::now();
};

bool Cancelled(const Transfer& transfer) {
    return transfer.request->cancelFlag != nullptr && transfer.request->cancelFlag->load();
}

bool OpenSink(Transfer& transfer) {
    if (transfer.sinkOpen) {
        return true;
    }
    transfer.sinkOpen = true;
    const HttpRequest& request = *transfer.request;
    if (request.outFile != nullptr) {
        transfer.sink = request.outFile;
    } else if (request.outFilePath) {
        if (!transfer.file.Open(*request.outFilePath, request.outFileMustBeNew)) {
            transfer.stop = Stop::kOpenFailed;
            return false;
        }
        transfer.sink = &transfer.file;
    } else if (request.outBody != nullptr) {
        request.outBody->clear();
        request.outBody->reserve(65536);
    }
    return true;
}

std::string Lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::string Trimmed(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && blank(text.back())) {
        text.remove_suffix(1);
    }
    return std::string(text);
}

size_t OnHeader(char* data, size_t size, size_t count, void* context) {
    auto& transfer = *static_cast<Transfer*>(context);
    const std::string_view line(data, size * count);
    transfer.lastActivity = Clock::now();
    if (line.rfind("HTTP/", 0) == 0) {
        transfer.etag.clear();
        transfer.lastModified.clear();
        transfer.contentEncoding.clear();
        transfer.contentLength.clear();
        transfer.statusLineSeen = true;
        transfer.headersComplete = false;
        return line.size();
    }
    if (line == "\r\n" || line == "\n") {
        transfer.headersComplete = true;
        return line.size();
    }
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        return line.size();
    }
    const std::string name = Lower(Trimmed(line.substr(0, colon)));
    const std::string value = Trimmed(line.substr(colon + 1));
    if (name == "etag") {
        transfer.etag = value;
    } else if (name == "last-modified") {
        transfer.lastModified = value;
    } else if (name == "content-encoding") {
        transfer.contentEncoding = Lower(value);
    } else if (name == "content-length") {
        transfer.contentLength = value;
    }
    return line.size();
}

size_t OnBody(char* data, size_t size, size_t count, void* context) {
    auto& transfer = *static_cast<Transfer*>(context);
    const size_t length = size * count;
    transfer.lastActivity = Clock::now();
    if (!OpenSink(transfer)) {
        return 0;
    }
    if (Cancelled(transfer)) {
        transfer.stop = Stop::kCancelled;
        return 0;
    }
    const HttpRequest& request = *transfer.request;
    if (request.bodyLimit && transfer.total + length > *request.bodyLimit) {
        transfer.stop = Stop::kLimit;
        return 0;
    }
    if (request.rateLimit != nullptr && !request.rateLimit->Take(length, request.cancelFlag)) {
        transfer.stop = Stop::kCancelled;
        return 0;
    }
    transfer.lastActivity = Clock::now();  // a wait for the budget is no silence of the server
    if (transfer.sink != nullptr) {
        if (!transfer.sink->Write(data, length)) {
            transfer.stop = Stop::kWriteFailed;
            return 0;
        }
    } else if (request.outBody != nullptr) {
        request.outBody->append(data, length);
    }
    transfer.total += length;
    return length;
}

int OnProgress(void* context, curl_off_t, curl_off_t downloaded, curl_off_t, curl_off_t uploaded) {
    auto& transfer = *static_cast<Transfer*>(context);
    if (downloaded != transfer.downloaded || uploaded != transfer.uploaded) {
        transfer.downloaded = downloaded;
        transfer.uploaded = uploaded;
        transfer.lastActivity = Clock::now();
    }
    return 0;
}

// The certificate store: the system's, or OpenSSL's SSL_CERT_FILE / SSL_CERT_DIR when set,
// so that a server with a private certificate authority can be trusted deliberately.
void SetTrustStore(CURL* easy) {
    if (const char* file = std::getenv("SSL_CERT_FILE"); file != nullptr && *file != 0) {
        curl_easy_setopt(easy, CURLOPT_CAINFO, file);
    }
    if (const char* folder = std::getenv("SSL_CERT_DIR"); folder != nullptr && *folder != 0) {
        curl_easy_setopt(easy, CURLOPT_CAPATH, folder);
    }
}

// Redirects as WinHTTP follows them: at most 10, never from https to http, never to plain
// http while the HTTP lock is on, and not at all for a request that carries a password.
void SetRedirectPolicy(CURL* easy, const HttpSession& session, const HttpRequest& request) {
    if (CarriesPassword(request.extraHeaders)) {
        curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
        return;
    }
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 10L);
    const bool plainAllowed =
        session.endpoint.scheme == kSchemeHttp && plainHttpAllowed.load(std::memory_order_relaxed);
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, plainAllowed ? "http,https" : "https");
}

HeaderList BuildHeaderList(const HttpSession& session, const HttpRequest& request) {
    curl_slist* list = curl_slist_append(nullptr, "Accept:");  // WinHTTP sends none either
    std::string block = WideToUtf8(
        BuildRequestHeaders(session.clientId, request.extraHeaders, session.decompression));
    std::size_t start = 0;
    while (start < block.size()) {
        std::size_t end = block.find("\r\n", start);
        if (end == std::string::npos) {
            end = block.size();
        }
        if (end > start) {
            list = curl_slist_append(list, block.substr(start, end - start).c_str());
        }
        start = end + 2;
    }
    return HeaderList(list);
}

std::wstring UrlOf(const HttpSession& session, const HttpRequest& request) {
    const ServerEndpoint& endpoint = session.endpoint;
    std::wstring url = endpoint.scheme == kSchemeHttps ? L"https://" : L"http://";
    url += endpoint.host + L":" + std::to_wstring(endpoint.port);
    url += JoinRequestPath(endpoint.basePath, request.endpointPath);
    return url;
}

void Configure(CURL* easy, const HttpSession& session, const HttpRequest& request,
               Transfer& transfer, const std::string& url, curl_slist* headers) {
    curl_easy_reset(easy);
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Tavrin/1.0");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    if (request.verb != L"GET") {
        curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, WideToUtf8(request.verb).c_str());
    }
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, 65536L);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(session.timeouts.resolveMs + session.timeouts.connectMs));
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    SetTrustStore(easy);
    SetRedirectPolicy(easy, session, request);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, OnHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, OnBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, OnProgress);
    curl_easy_setopt(easy, CURLOPT_XFERINFODATA, &transfer);
}

// The longest silence allowed now: the send wait until the request is out, then the
// receive wait (for the headers and between body chunks).
int StallLimitMs(CURL* easy, const HttpSession& session) {
    long requestSize = 0;
    curl_easy_getinfo(easy, CURLINFO_REQUEST_SIZE, &requestSize);
    return requestSize > 0 ? session.timeouts.receiveMs : session.timeouts.sendMs;
}

// Before the connection stands, curl's own connect time-out (resolve plus connect) applies.
bool Connected(CURL* easy) {
    curl_off_t pretransfer = 0;
    long requestSize = 0;
    curl_easy_getinfo(easy, CURLINFO_PRETRANSFER_TIME_T, &pretransfer);
    curl_easy_getinfo(easy, CURLINFO_REQUEST_SIZE, &requestSize);
    return pretransfer > 0 || requestSize > 0;
}

// Drives the transfer until it ends, stalls or a callback stops it.
CURLcode Run(HttpConnection& connection, const HttpSession& session, Transfer& transfer) {
    curl_multi_add_handle(connection.multi, connection.easy);
    CURLcode code = CURLE_OK;
    bool finished = false;
    while (!finished) {
        int running = 0;
        curl_multi_perform(connection.multi, &running);
        int queued = 0;
        while (CURLMsg* message = curl_multi_info_read(connection.multi, &queued)) {
            if (message->msg == CURLMSG_DONE && message->easy_handle == connection.easy) {
                code = message->data.result;
                finished = true;
            }
        }
        if (finished) {
            break;
        }
        if (transfer.stop == Stop::kNone && !transfer.cancelledAtStart && Cancelled(transfer)) {
            // Seen here too: curl reports progress rarely while it waits for an answer.
            transfer.stop = Stop::kCancelled;
        }
        if (transfer.stop != Stop::kNone) {
            code = CURLE_WRITE_ERROR;
            break;
        }
        if (Connected(connection.easy)) {
            const auto silent = std::chrono::duration_cast<std::chrono::milliseconds>(
                Clock::now() - transfer.lastActivity);
            if (silent.count() >= StallLimitMs(connection.easy, session)) {
                transfer.stop = Stop::kStalled;
                code = CURLE_OPERATION_TIMEDOUT;
                break;
            }
        } else {
            transfer.lastActivity = Clock::now();
        }
        curl_multi_poll(connection.multi, nullptr, 0, 50, nullptr);
    }
    curl_multi_remove_handle(connection.multi, connection.easy);
    return code;
}

std::wstring FailureText(const Transfer& transfer, CURLcode code) {
    const HttpRequest& request = *transfer.request;
    switch (transfer.stop) {
        case Stop::kCancelled:
            return TrWide("error.sync_cancelled");
        case Stop::kOpenFailed:
            return FillPlaceholders(TrWide("error.temp_file_create_failed"),
                                    {PathToWide(*request.outFilePath)});
        case Stop::kWriteFailed:
            return TrWide("error.file_write_failed");
        case Stop::kLimit:
            return FormatCurlError("error.winhttp_read_data_failed", CURLE_FILESIZE_EXCEEDED);
        case Stop::kStalled:
        case Stop::kNone:
            break;
    }
    if (transfer.headersComplete) {
        return FormatCurlError("error.winhttp_read_data_failed", code);
    }
    if (transfer.statusLineSeen || code == CURLE_OPERATION_TIMEDOUT || code == CURLE_RECV_ERROR ||
        code == CURLE_GOT_NOTHING) {
        return FormatCurlError("error.winhttp_receive_response_failed", code);
    }
    return FormatCurlError("error.winhttp_send_request_failed", code);
}

}  // namespace

bool ExecuteHttpRequest(HttpSession& session, const HttpRequest& request, HttpResult& result,
                        std::wstring& errorText) {
    result = HttpResult{};
    if (!session.connection) {
        errorText = FormatCurlError("error.winhttp_open_request_failed", CURLE_FAILED_INIT);
        return false;
    }
    HttpConnection& connection = *session.connection;
    Transfer transfer;
    transfer.request = &request;
    transfer.cancelledAtStart = Cancelled(transfer);
    const std::string url = WideToUtf8(UrlOf(session, request));
    const HeaderList headers = BuildHeaderList(session, request);
    Configure(connection.easy, session, request, transfer, url, headers.get());

    CURLcode code = Run(connection, session, transfer);
    long status = 0;
    curl_easy_getinfo(connection.easy, CURLINFO_RESPONSE_CODE, &status);
    result.status = static_cast<std::uint32_t>(status);
    result.bytesRead = transfer.total;
    result.bodyLimitExceeded = transfer.stop == Stop::kLimit;

    // A body shorter than its Content-Length simply ends: the caller's size check catches it.
    if (code == CURLE_PARTIAL_FILE && transfer.headersComplete && transfer.stop == Stop::kNone) {
        code = CURLE_OK;
    }
    if (code == CURLE_OK && transfer.stop == Stop::kNone) {
        // The end of the body is a chunk of its own: the sink exists and cancel is read.
        if (!OpenSink(transfer)) {
            code = CURLE_WRITE_ERROR;
        } else if (Cancelled(transfer)) {
            transfer.stop = Stop::kCancelled;
            code = CURLE_WRITE_ERROR;
        }
    }
    transfer.file.Close();
    if (code != CURLE_OK) {
        errorText = FailureText(transfer, code);
        return false;
    }
    if (request.outETag != nullptr) {
        *request.outETag = CleanHeaderValue(Utf8ToWide(transfer.etag));
    }
    if (request.outLastModified != nullptr) {
        *request.outLastModified = CleanHeaderValue(Utf8ToWide(transfer.lastModified));
    }
    result.info.gzipEncoded = transfer.contentEncoding.find("gzip") != std::string::npos;
    if (!transfer.contentLength.empty() && !result.info.gzipEncoded) {
        char* end = nullptr;
        const unsigned long long length = std::strtoull(transfer.contentLength.c_str(), &end, 10);
        if (end != nullptr && *end == 0) {
            result.info.declaredLength = length;
        }
    }
    if (transfer.sink == nullptr && request.outBody != nullptr) {
        result.info.bodyBytesInMemory = request.outBody->size();
    }
    return true;
}

void InterruptRequests(const std::atomic<bool>* /*cancelFlag*/) {
    // The transfer loop reads the flag every 50 ms.
}

}  // namespace tavrin
