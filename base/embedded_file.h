#pragma once

#include <span>
#include <string_view>

namespace tavrin {

// A data file compiled into the program (language packs, legal texts). The bytes live for the
// whole run.
struct EmbeddedFile {
    std::string_view name;  // file name without folders, e.g. "de.json"
    std::string_view bytes;
};

// The built-in language packs, "<code>.json" each.
std::span<const EmbeddedFile> BuiltInLanguagePacks();

// The built-in legal texts of the settings dialog, "<code>.json" each.
std::span<const EmbeddedFile> BuiltInLegalTexts();

}  // namespace tavrin
