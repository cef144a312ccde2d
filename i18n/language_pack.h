#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tavrin {

// Translation key -> UTF-8 text.
using StringTable = std::unordered_map<std::string, std::string>;

// Where language packs come from: "<applicationDirectory>/i18n/<code>.json" first, so that a
// user can override a pack next to the program, then the packs compiled into the program.
struct LanguagePackSources {
    std::filesystem::path applicationDirectory;
    bool useBuiltIn = true;
};

// The sources in use; by default the executable's folder and the built-in packs. Tests and
// tools point them elsewhere with SetLanguagePackSources.
LanguagePackSources CurrentLanguagePackSources();
void SetLanguagePackSources(LanguagePackSources sources);

// Fills `table` from the pack of `code` (already normalised). On failure the table is empty
// and `error` holds one of the loader's English messages.
bool LoadLanguagePack(std::string_view code, StringTable& table, std::wstring& error);

// A language the chooser offers.
struct LanguageEntry {
    std::string code;
    std::string name;  // in the language itself, UTF-8
};

// The six built-in languages in their fixed order, merged with every pack found in the
// folder and in the program. The window sorts the list for display.
std::vector<LanguageEntry> AvailableLanguages();

}  // namespace tavrin
