// Linux side of URL parsing: curl's URL API, set up to crack like WinHttpCrackUrl (host case
// kept, path taken as written with its query and fragment, default ports filled in).
#include <curl/curl.h>

#include <memory>

#include "i18n/utf8_conversion.h"
#include "net/server_endpoint.h"

namespace tavrin {
namespace {

struct UrlDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

bool Part(CURLU* url, CURLUPart part, unsigned flags, std::string& out) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK || text == nullptr) {
        return false;
    }
    out = text;
    curl_free(text);
    return true;
}

}  // namespace

bool CrackUrl(std::wstring_view url, CrackedUrl& cracked, bool& unknownScheme) {
    unknownScheme = false;
    const std::unique_ptr<CURLU, UrlDeleter> handle(curl_url());
    if (!handle) {
        return false;
    }
    const std::string text = WideToUtf8(url);
    if (curl_url_set(handle.get(), CURLUPART_URL, text.c_str(),
                     CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS) != CURLUE_OK) {
        return false;
    }
    std::string scheme;
    std::string host;
    if (!Part(handle.get(), CURLUPART_SCHEME, 0, scheme) ||
        !Part(handle.get(), CURLUPART_HOST, 0, host) || host.empty()) {
        return false;
    }
    cracked.schemeName = Utf8ToWide(scheme);
    cracked.scheme = scheme == "https" ? kSchemeHttps : scheme == "http" ? kSchemeHttp : 0;
    if (cracked.scheme == 0) {
        unknownScheme = true;
        return false;
    }
    std::string port;
    if (!Part(handle.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT, port)) {
        return false;
    }
    cracked.port = static_cast<std::uint16_t>(std::stoul(port));
    cracked.host = Utf8ToWide(host);
    std::string path;
    std::string query;
    std::string fragment;
    Part(handle.get(), CURLUPART_PATH, 0, path);
    if (Part(handle.get(), CURLUPART_QUERY, 0, query)) {
        path += "?" + query;
    }
    if (Part(handle.get(), CURLUPART_FRAGMENT, 0, fragment)) {
        path += "#" + fragment;
    }
    cracked.path = Utf8ToWide(path);
    return true;
}

}  // namespace tavrin
