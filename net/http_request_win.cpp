// Windows side of request execution: WinHTTP, reading the body in chunks of at most 64 KiB
// into a file or memory and reading the cancel flag before each chunk.
#include <algorithm>
#include <cwctype>
#include <mutex>
#include <vector>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/http_connection_win.h"
#include "net/http_request.h"
#include "net/output_file.h"
#include "net/system_error.h"

namespace tavrin {
namespace {

constexpr DWORD kChunk = 65536;

// Requests in flight that another thread may end by closing their handle: closing a request
// handle ends a wait in WinHttpReceiveResponse or WinHttpReadData at once.
struct InFlight {
    const std::atomic<bool>* cancelFlag = nullptr;
    HINTERNET handle = nullptr;
    bool closed = false;
};
std::mutex inFlightMutex;
std::vector<InFlight*> inFlight;

// Closes the request handle on every way out, unless an interrupt has closed it already.
struct RequestHandle {
    HINTERNET handle = nullptr;
    InFlight entry;

    void Watch(const std::atomic<bool>* cancelFlag) {
        if (cancelFlag == nullptr) {
            return;
        }
        entry = {cancelFlag, handle, false};
        const std::lock_guard lock(inFlightMutex);
        inFlight.push_back(&entry);
    }
    ~RequestHandle() {
        if (entry.cancelFlag != nullptr) {
            const std::lock_guard lock(inFlightMutex);
            std::erase(inFlight, &entry);
            if (entry.closed) {
                return;
            }
        }
        if (handle != nullptr) {
            WinHttpCloseHandle(handle);
        }
    }
};

bool Cancelled(const HttpRequest& options) {
    return options.cancelFlag != nullptr && options.cancelFlag->load();
}

bool FailWithCode(std::wstring& errorText, std::string_view key) {
    const DWORD code = GetLastError();
    errorText = FormatSystemError(key, code);
    return false;
}

// A call that failed because another thread closed the handle on a cancel is a cancel, not a
// fault of the server.
bool FailOrCancelled(const HttpRequest& options, std::wstring& errorText, std::string_view key) {
    if (Cancelled(options)) {
        errorText = TrWide("error.sync_cancelled");
        return false;
    }
    return FailWithCode(errorText, key);
}

// A header's text, trimmed; empty when the answer has none.
std::wstring ReadHeader(HINTERNET request, DWORD query) {
    DWORD size = 0;
    WinHttpQueryHeaders(request, query, WINHTTP_HEADER_NAME_BY_INDEX, WINHTTP_NO_OUTPUT_BUFFER,
                        &size, WINHTTP_NO_HEADER_INDEX);
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || size < 3) {
        return {};
    }
    std::vector<wchar_t> buffer(size / sizeof(wchar_t) + 1);
    if (!WinHttpQueryHeaders(request, query, WINHTTP_HEADER_NAME_BY_INDEX, buffer.data(), &size,
                             WINHTTP_NO_HEADER_INDEX)) {
        return {};
    }
    return CleanHeaderValue(std::wstring_view(buffer.data(), size / sizeof(wchar_t)));
}

// Redirects follow WinHTTP's default policy (never from https to http, at most 10); a
// request that carries a password follows none, so the password stays with this server.
void SetRedirectPolicy(HINTERNET request, const HttpRequest& options) {
    if (CarriesPassword(options.extraHeaders)) {
        DWORD never = WINHTTP_OPTION_REDIRECT_POLICY_NEVER;
        WinHttpSetOption(request, WINHTTP_OPTION_REDIRECT_POLICY, &never, sizeof never);
    }
}

struct Sink {
    OutputFile file;
    OutputFile* out = nullptr;  // the caller's file or `file`
    std::string* body = nullptr;
    bool toFile = false;
};

// What the answer's headers say of its body.
struct BodyHeaders {
    bool gzip = false;
    bool lengthKnown = false;
    unsigned long long length = 0;
};

// Opens the request on the session's connection, watched for the cancel, and sends it; true
// once the answer's headers are in.
bool SendRequest(const HttpSession& session, const HttpRequest& options, RequestHandle& request,
                 std::wstring& errorText) {
    const std::wstring path = JoinRequestPath(session.endpoint.basePath, options.endpointPath);
    request.handle =
        WinHttpOpenRequest(session.connection->connect, options.verb.c_str(), path.c_str(), nullptr,
                           WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                           session.endpoint.scheme == kSchemeHttps ? WINHTTP_FLAG_SECURE : 0);
    if (request.handle == nullptr) {
        return FailWithCode(errorText, "error.winhttp_open_request_failed");
    }
    // A flag already set when the request began lets it reach its status line; one set since
    // then may have been interrupted before the handle could be watched.
    const bool cancelledAtStart = Cancelled(options);
    request.Watch(options.cancelFlag);
    if (!cancelledAtStart && Cancelled(options)) {
        errorText = TrWide("error.sync_cancelled");
        return false;
    }
    DWORD headerWait = static_cast<DWORD>(session.timeouts.receiveMs);
    WinHttpSetOption(request.handle, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &headerWait,
                     sizeof headerWait);
    SetRedirectPolicy(request.handle, options);
    const std::wstring headers =
        BuildRequestHeaders(session.clientId, options.extraHeaders, session.decompression);
    if (!WinHttpSendRequest(request.handle, headers.c_str(), static_cast<DWORD>(-1L),
                            WINHTTP_NO_REQUEST_DATA, 0, 0, 0)) {
        return FailOrCancelled(options, errorText, "error.winhttp_send_request_failed");
    }
    if (!WinHttpReceiveResponse(request.handle, nullptr)) {
        return FailOrCancelled(options, errorText, "error.winhttp_receive_response_failed");
    }
    return true;
}

bool ReadAnswerHeaders(HINTERNET request, const HttpRequest& options, HttpResult& result,
                       BodyHeaders& body, std::wstring& errorText) {
    DWORD status = 0;
    DWORD statusSize = sizeof status;
    if (!WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                             WINHTTP_HEADER_NAME_BY_INDEX, &status, &statusSize,
                             WINHTTP_NO_HEADER_INDEX)) {
        return FailOrCancelled(options, errorText, "error.http_status_read_failed");
    }
    result.status = status;
    if (options.outETag != nullptr) {
        *options.outETag = ReadHeader(request, WINHTTP_QUERY_ETAG);
    }
    if (options.outLastModified != nullptr) {
        *options.outLastModified = ReadHeader(request, WINHTTP_QUERY_LAST_MODIFIED);
    }
    std::wstring encoding = ReadHeader(request, WINHTTP_QUERY_CONTENT_ENCODING);
    std::transform(encoding.begin(), encoding.end(), encoding.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
    body.gzip = encoding.find(L"gzip") != std::wstring::npos;
    const std::wstring lengthText = ReadHeader(request, WINHTTP_QUERY_CONTENT_LENGTH);
    wchar_t* lengthEnd = nullptr;
    body.length = std::wcstoull(lengthText.c_str(), &lengthEnd, 10);
    body.lengthKnown = !lengthText.empty() && lengthEnd != nullptr && *lengthEnd == 0;
    return true;
}

// Where the body goes: the caller's open file, a file to open now, a string, or nowhere.
bool OpenSink(const HttpRequest& options, Sink& sink, std::wstring& errorText) {
    if (options.outFile != nullptr) {
        sink.toFile = true;
        sink.out = options.outFile;
    } else if (options.outFilePath) {
        sink.toFile = true;
        if (!sink.file.Open(*options.outFilePath, options.outFileMustBeNew)) {
            errorText = FillPlaceholders(TrWide("error.temp_file_create_failed"),
                                         {PathToWide(*options.outFilePath)});
            return false;
        }
        sink.out = &sink.file;
    } else if (options.outBody != nullptr) {
        sink.body = options.outBody;
        sink.body->clear();
        sink.body->reserve(kChunk);
    }
    return true;
}

bool ReadBody(HINTERNET request, const HttpRequest& options, Sink& sink, HttpResult& result,
              std::wstring& errorText) {
    std::vector<char> buffer(kChunk);
    std::uint64_t total = 0;
    while (true) {
        if (options.cancelFlag != nullptr && options.cancelFlag->load()) {
            errorText = TrWide("error.sync_cancelled");
            return false;
        }
        DWORD available = 0;
        if (!WinHttpQueryDataAvailable(request, &available)) {
            return FailOrCancelled(options, errorText, "error.winhttp_query_data_available_failed");
        }
        DWORD read = 0;
        if (available > 0 &&
            !WinHttpReadData(request, buffer.data(), std::min(available, kChunk), &read)) {
            return FailOrCancelled(options, errorText, "error.winhttp_read_data_failed");
        }
        if (read == 0) {
            return true;
        }
        if (options.bodyLimit && total + read > *options.bodyLimit) {
            result.bytesRead = total;
            result.bodyLimitExceeded = true;
            SetLastError(ERROR_FILE_TOO_LARGE);
            return FailWithCode(errorText, "error.winhttp_read_data_failed");
        }
        if (options.rateLimit != nullptr && !options.rateLimit->Take(read, options.cancelFlag)) {
            errorText = TrWide("error.sync_cancelled");
            return false;
        }
        if (sink.toFile && !sink.out->Write(buffer.data(), read)) {
            errorText = TrWide("error.file_write_failed");
            return false;
        }
        if (!sink.toFile && sink.body != nullptr) {
            sink.body->append(buffer.data(), read);
        }
        total += read;
        result.bytesRead = total;
    }
}

}  // namespace

bool ExecuteHttpRequest(HttpSession& session, const HttpRequest& options, HttpResult& result,
                        std::wstring& errorText) {
    result = HttpResult{};
    if (!session.connection) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FailWithCode(errorText, "error.winhttp_open_request_failed");
    }
    RequestHandle request;
    BodyHeaders body;
    Sink sink;
    if (!SendRequest(session, options, request, errorText) ||
        !ReadAnswerHeaders(request.handle, options, result, body, errorText) ||
        !OpenSink(options, sink, errorText) ||
        !ReadBody(request.handle, options, sink, result, errorText)) {
        return false;
    }
    sink.file.Close();
    result.info.gzipEncoded = body.gzip;
    result.info.declaredLength = body.lengthKnown && !body.gzip ? body.length : 0;
    result.info.bodyBytesInMemory = !sink.toFile && sink.body != nullptr ? sink.body->size() : 0;
    return true;
}

void InterruptRequests(const std::atomic<bool>* cancelFlag) {
    const std::lock_guard lock(inFlightMutex);
    for (InFlight* entry : inFlight) {
        if (entry->cancelFlag == cancelFlag && !entry->closed) {
            entry->closed = true;
            WinHttpCloseHandle(entry->handle);
        }
    }
}

}  // namespace tavrin
