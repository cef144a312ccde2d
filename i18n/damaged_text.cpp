#include "i18n/damaged_text.h"

#include "i18n/letter_or_number.h"

namespace tavrin {
namespace {

// Decodes the code point that ends just before `end`; ill-formed bytes count as U+FFFD.
char32_t CodePointBefore(std::string_view text, std::size_t end) {
    std::size_t start = end - 1;
    int continuation = 0;
    while (start > 0 && continuation < 3 &&
           (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) {
        --start;
        ++continuation;
    }
    const auto lead = static_cast<unsigned char>(text[start]);
    const int length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
    if (length != continuation + 1) {
        return 0xFFFD;
    }
    char32_t code = length == 1 ? lead : lead & (0x7F >> length);
    for (std::size_t i = start + 1; i < end; ++i) {
        code = (code << 6) | (static_cast<unsigned char>(text[i]) & 0x3F);
    }
    return code;
}

// Decodes the code point that starts at `begin`; ill-formed bytes count as U+FFFD.
char32_t CodePointAt(std::string_view text, std::size_t begin) {
    const auto lead = static_cast<unsigned char>(text[begin]);
    const int length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
    if (length == 0 || begin + static_cast<std::size_t>(length) > text.size()) {
        return 0xFFFD;
    }
    char32_t code = length == 1 ? lead : lead & (0x7F >> length);
    for (int i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[begin + static_cast<std::size_t>(i)]);
        if ((next & 0xC0) != 0x80) {
            return 0xFFFD;
        }
        code = (code << 6) | (next & 0x3F);
    }
    return code;
}

}  // namespace

bool IsDamagedText(std::string_view utf8) {
    for (std::size_t i = utf8.find('?'); i != std::string_view::npos; i = utf8.find('?', i + 1)) {
        const bool hasBefore = i > 0;
        const bool hasAfter = i + 1 < utf8.size();
        if ((hasBefore && utf8[i - 1] == '?') || (hasAfter && utf8[i + 1] == '?')) {
            return true;
        }
        if (hasBefore && hasAfter && IsLetterOrNumber(CodePointBefore(utf8, i)) &&
            IsLetterOrNumber(CodePointAt(utf8, i + 1))) {
            return true;
        }
    }
    return false;
}

}  // namespace tavrin
