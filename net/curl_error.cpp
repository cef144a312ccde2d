#include "net/curl_error.h"

#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"

namespace tavrin {

std::wstring FormatCurlError(std::string_view key, CURLcode code) {
    return TrWide(key) + L" (" + std::to_wstring(static_cast<int>(code)) + L"): " +
           Utf8ToWide(curl_easy_strerror(code));
}

}  // namespace tavrin
