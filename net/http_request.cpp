#include "net/http_request.h"

#include <cwctype>

#include "base/trim_whitespace.h"

namespace tavrin {

std::wstring BuildRequestHeaders(std::wstring_view clientId, std::wstring_view extraHeaders,
                                 bool acceptGzip) {
    std::wstring block = acceptGzip ? L"Accept-Encoding: gzip\r\n" : L"";
    block += L"Cache-Control: no-cache\r\n";
    if (!clientId.empty()) {
        block += L"X-Client-ID: " + std::wstring(clientId) + L"\r\n";
    }
    if (!extraHeaders.empty()) {
        block += extraHeaders;
        if (block.size() < 2 || block.compare(block.size() - 2, 2, L"\r\n") != 0) {
            block += L"\r\n";
        }
    }
    return block;
}

bool CarriesPassword(std::wstring_view extraHeaders) {
    std::wstring lower(extraHeaders);
    for (wchar_t& c : lower) {
        c = static_cast<wchar_t>(std::towlower(c));
    }
    return lower.find(L"x-project-password:") != std::wstring::npos;
}

std::wstring CleanHeaderValue(std::wstring_view value) {
    return TrimWhitespace(value);
}

}  // namespace tavrin
