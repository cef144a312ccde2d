#pragma once

#include <string>
#include <string_view>

#include "i18n/language_pack.h"

namespace tavrin {

// The process-wide text lookup. Safe from any thread: the tables are swapped in whole under
// one mutex, never filled in place.

// The text of `key` (ASCII) in the current language, else in English, else the key itself,
// so a missing translation shows its key and never an empty label. A current-language text
// that looks damaged by a wrong encoding falls back to English.
// NOLINTNEXTLINE(readability-identifier-naming): the short name every caller uses
std::string tr(std::string_view key);

// The same text as a wide string, for the engine's messages.
std::wstring TrWide(std::string_view key);

// Loads the pack of `code` (normalised; empty means "en") and makes it current. False, with
// the current language unchanged, when the pack cannot be loaded; `error` then says why.
bool SetLanguage(std::string_view code, std::wstring* error = nullptr);

// The normalised code of the current language.
std::string CurrentLanguage();

// The lookup rule over two tables (either may be null): a non-empty, undamaged text of
// `current`, else a non-empty text of `english`, else the key.
std::string LookUpText(const StringTable* current, const StringTable* english,
                       std::string_view key);

// Forgets every loaded table, as at process start. For tests that change the pack sources.
void ResetLanguageState();

}  // namespace tavrin
