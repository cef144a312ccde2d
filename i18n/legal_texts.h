#pragma once

#include <string>
#include <string_view>

namespace tavrin {

// The legal texts the settings dialog shows, in one language (UTF-8).
struct LegalTexts {
    std::string licenseTabTitle;
    std::string licenseButton;
    std::string noticeTabTitle;
    std::string hint;
    std::string licenseText;
    std::string noticeText;
};

// The texts for a built-in language code (normalised first); any other code gets English.
LegalTexts LegalTextsFor(std::string_view code);

}  // namespace tavrin
