// Windows side of URL parsing: WinHttpCrackUrl, asked for scheme, host and path only.
#include <windows.h>

#include <winhttp.h>

#include <vector>

#include "net/server_endpoint.h"

namespace tavrin {

bool CrackUrl(std::wstring_view url, CrackedUrl& cracked, bool& unknownScheme) {
    unknownScheme = false;
    const std::wstring text(url);
    std::vector<wchar_t> scheme(text.size() + 1);
    std::vector<wchar_t> host(text.size() + 1);
    std::vector<wchar_t> path(text.size() + 1);
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof parts;
    parts.lpszScheme = scheme.data();
    parts.dwSchemeLength = static_cast<DWORD>(scheme.size());
    parts.lpszHostName = host.data();
    parts.dwHostNameLength = static_cast<DWORD>(host.size());
    parts.lpszUrlPath = path.data();
    parts.dwUrlPathLength = static_cast<DWORD>(path.size());
    if (!WinHttpCrackUrl(text.c_str(), static_cast<DWORD>(text.size()), 0, &parts)) {
        const DWORD code = GetLastError();
        unknownScheme = code == ERROR_WINHTTP_UNRECOGNIZED_SCHEME;
        return false;
    }
    cracked.schemeName.assign(parts.lpszScheme, parts.dwSchemeLength);
    for (wchar_t& c : cracked.schemeName) {
        c = static_cast<wchar_t>(towlower(c));
    }
    cracked.scheme = parts.nScheme == INTERNET_SCHEME_HTTPS  ? kSchemeHttps
                     : parts.nScheme == INTERNET_SCHEME_HTTP ? kSchemeHttp
                                                             : 0;
    cracked.host.assign(parts.lpszHostName, parts.dwHostNameLength);
    cracked.port = parts.nPort;
    cracked.path.assign(parts.lpszUrlPath, parts.dwUrlPathLength);
    return !cracked.host.empty();
}

}  // namespace tavrin
