#include "i18n/ascii_text.h"

namespace tavrin {
namespace {
char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
}  // namespace

std::string ToLowerAscii(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = Lower(c);
    }
    return lower;
}

bool EqualIgnoringAsciiCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (Lower(a[i]) != Lower(b[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace tavrin
