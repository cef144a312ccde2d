#include "i18n/legal_texts.h"

#include <nlohmann/json.hpp>

#include "base/embedded_file.h"
#include "i18n/language_code.h"

namespace tavrin {
namespace {

bool ReadLegalTexts(std::string_view fileName, LegalTexts& texts) {
    for (const EmbeddedFile& file : BuiltInLegalTexts()) {
        if (file.name != fileName) {
            continue;
        }
        const nlohmann::json document = nlohmann::json::parse(file.bytes, nullptr, false);
        if (!document.is_object()) {
            return false;
        }
        const auto text = [&document](const char* name) {
            const auto it = document.find(name);
            return it != document.end() && it->is_string() ? it->get<std::string>() : std::string();
        };
        texts = {text("license_tab_title"), text("license_button"),
                 text("notice_tab_title"),  text("hint"),
                 text("license_text"),      text("notice_text")};
        return true;
    }
    return false;
}

}  // namespace

LegalTexts LegalTextsFor(std::string_view code) {
    LegalTexts texts;
    if (!ReadLegalTexts(NormalizeLanguageCode(code) + ".json", texts)) {
        ReadLegalTexts("en.json", texts);
    }
    return texts;
}

}  // namespace tavrin
