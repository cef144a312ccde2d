#include "i18n/unicode_trim.h"

#include "i18n/utf8_conversion.h"

namespace tavrin {
namespace {

bool IsUnicodeSpace(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
}

}  // namespace

std::string TrimUnicodeSpaces(std::string_view utf8) {
    const std::wstring wide = Utf8ToWide(utf8);
    std::size_t begin = 0;
    std::size_t end = wide.size();
    while (begin < end && IsUnicodeSpace(static_cast<char32_t>(wide[begin]))) {
        ++begin;
    }
    while (end > begin && IsUnicodeSpace(static_cast<char32_t>(wide[end - 1]))) {
        --end;
    }
    if (begin == 0 && end == wide.size()) {
        return std::string(utf8);  // nothing to trim: keep the bytes exactly
    }
    return WideToUtf8(std::wstring_view(wide).substr(begin, end - begin));
}

}  // namespace tavrin
