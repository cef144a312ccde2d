// Windows side of the text conversions: the system's own UTF-8 code page functions.
#include <windows.h>

#include <climits>

#include "i18n/utf8_conversion.h"

namespace tavrin {

std::wstring Utf8ToWide(std::string_view utf8) {
    if (utf8.empty() || utf8.size() > INT_MAX) {
        return {};
    }
    const int inputLength = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), inputLength, nullptr, 0);
    if (length <= 0) {
        return {};
    }
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), inputLength, wide.data(), length);
    return wide;
}

std::string WideToUtf8(std::wstring_view wide) {
    if (wide.empty() || wide.size() > INT_MAX) {
        return {};
    }
    const int inputLength = static_cast<int>(wide.size());
    const int length =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), inputLength, nullptr, 0, nullptr, nullptr);
    if (length <= 0) {
        return {};
    }
    std::string utf8(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), inputLength, utf8.data(), length, nullptr,
                        nullptr);
    return utf8;
}

}  // namespace tavrin
