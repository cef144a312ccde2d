#include "i18n/language_code.h"

#include "sync/trim_whitespace.h"

namespace tavrin {

std::string NormalizeLanguageCode(std::string_view code) {
    std::string normal = TrimWhitespace(code);
    for (char& c : normal) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    if (normal.size() >= 3) {
        normal.resize(2);
    }
    return normal;
}

}  // namespace tavrin
