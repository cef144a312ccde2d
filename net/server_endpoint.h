#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace tavrin {

// A server address split for requests. Built only from canonical URLs (NormalizeServerUrl).
struct ServerEndpoint {
    std::uint32_t scheme = 0;  // kSchemeHttp or kSchemeHttps; a request uses TLS exactly for https
    std::wstring host;         // as the URL names it, case kept
    std::uint16_t port = 0;    // 80 or 443 when the URL names none
    std::wstring basePath;     // path without trailing "/"; empty at the root
};

inline constexpr std::uint32_t kSchemeHttp = 1;
inline constexpr std::uint32_t kSchemeHttps = 2;

// True exactly when the user has switched the HTTP lock off. Written between user actions
// (settings load, settings dialog), read by every validation and session opening.
extern std::atomic<bool> plainHttpAllowed;

// Turns a hand-typed server into its canonical URL: trimmed, "https://" added when no scheme
// is given, scheme lower-cased, default port and trailing slashes dropped. Refuses anything
// but http and https, and http while `allowPlainHttp` is false. Errors are translated texts.
bool NormalizeServerUrl(std::wstring_view text, bool allowPlainHttp, std::wstring& canonicalUrl,
                        std::wstring& errorText);
bool NormalizeServerUrlWithPolicy(std::wstring_view text, std::wstring& canonicalUrl,
                                  std::wstring& errorText);

// Splits a canonical URL. No scheme check here: callers normalise first.
bool ParseServerEndpoint(std::wstring_view canonicalUrl, ServerEndpoint& endpoint,
                         std::wstring& errorText);

// The server's base path joined with an endpoint path ("/sync" + "/list_projects").
std::wstring JoinRequestPath(std::wstring_view basePath, std::wstring_view endpointPath);

// What the platform's URL parser makes of a URL. `path` keeps any query and fragment, as
// WinHttpCrackUrl does when the extra information is not asked for separately.
struct CrackedUrl {
    std::wstring schemeName;   // lower case
    std::uint32_t scheme = 0;  // kSchemeHttp, kSchemeHttps, or 0 for any other scheme
    std::wstring host;
    std::uint16_t port = 0;
    std::wstring path;
};
// False when the text is no URL at all. `unknownScheme` tells a URL of another scheme apart.
bool CrackUrl(std::wstring_view url, CrackedUrl& cracked, bool& unknownScheme);

}  // namespace tavrin
