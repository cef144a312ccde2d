#include "net/server_endpoint.h"

#include "base/trim_whitespace.h"
#include "i18n/translator.h"

namespace tavrin {

std::atomic<bool> plainHttpAllowed{false};

namespace {

bool Fail(std::wstring& errorText, std::string_view key) {
    errorText = TrWide(key);
    return false;
}

// Drops trailing "/" while more than one character remains.
std::wstring WithoutTrailingSlashes(std::wstring path) {
    while (path.size() > 1 && path.back() == L'/') {
        path.pop_back();
    }
    return path;
}

std::uint16_t DefaultPort(std::uint32_t scheme) {
    return scheme == kSchemeHttps ? 443 : 80;
}

}  // namespace

bool NormalizeServerUrl(std::wstring_view text, bool allowPlainHttp, std::wstring& canonicalUrl,
                        std::wstring& errorText) {
    std::wstring url = TrimWhitespace(text);
    if (url.empty()) {
        return Fail(errorText, "error.empty_domain");
    }
    if (url.size() < 3 || url.find(L"://") == std::wstring::npos) {
        url = L"https://" + url;
    }
    CrackedUrl cracked;
    bool unknownScheme = false;
    if (!CrackUrl(url, cracked, unknownScheme)) {
        return Fail(errorText,
                    unknownScheme ? "error.only_http_https" : "error.invalid_domain_url");
    }
    if (cracked.scheme != kSchemeHttp && cracked.scheme != kSchemeHttps) {
        return Fail(errorText, "error.only_http_https");
    }
    if (cracked.scheme == kSchemeHttp && !allowPlainHttp) {
        return Fail(errorText, "error.http_requires_unlock");
    }
    canonicalUrl = cracked.scheme == kSchemeHttps ? L"https://" : L"http://";
    canonicalUrl += cracked.host;
    if (cracked.port != DefaultPort(cracked.scheme)) {
        canonicalUrl += L":" + std::to_wstring(cracked.port);
    }
    const std::wstring path = WithoutTrailingSlashes(cracked.path.empty() ? L"/" : cracked.path);
    if (path != L"/") {
        canonicalUrl += path;
    }
    return true;
}

bool NormalizeServerUrlWithPolicy(std::wstring_view text, std::wstring& canonicalUrl,
                                  std::wstring& errorText) {
    return NormalizeServerUrl(text, plainHttpAllowed.load(std::memory_order_relaxed), canonicalUrl,
                              errorText);
}

bool ParseServerEndpoint(std::wstring_view canonicalUrl, ServerEndpoint& endpoint,
                         std::wstring& errorText) {
    CrackedUrl cracked;
    bool unknownScheme = false;
    if (!CrackUrl(canonicalUrl, cracked, unknownScheme)) {
        return Fail(errorText, "error.domain_parse_failed");
    }
    endpoint.scheme = cracked.scheme;
    endpoint.host = cracked.host;
    endpoint.port = cracked.port;
    endpoint.basePath = WithoutTrailingSlashes(cracked.path);
    if (endpoint.basePath == L"/") {
        endpoint.basePath.clear();
    }
    return true;
}

std::wstring JoinRequestPath(std::wstring_view basePath, std::wstring_view endpointPath) {
    if (basePath.empty()) {
        return std::wstring(endpointPath);
    }
    if (endpointPath.empty()) {
        return std::wstring(basePath);
    }
    if (endpointPath.front() == L'/') {
        return std::wstring(basePath) + std::wstring(endpointPath);
    }
    return std::wstring(basePath) + L"/" + std::wstring(endpointPath);
}

}  // namespace tavrin
