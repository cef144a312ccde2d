#include "i18n/language_code.h"

#include "base/trim_whitespace.h"
#include "i18n/ascii_text.h"

namespace tavrin {

std::string NormalizeLanguageCode(std::string_view code) {
    std::string normal = ToLowerAscii(TrimWhitespace(code));
    if (normal.size() >= 3) {
        normal.resize(2);
    }
    return normal;
}

}  // namespace tavrin
