#include "i18n/translator.h"

#include <memory>
#include <mutex>

#include "i18n/damaged_text.h"
#include "i18n/language_code.h"
#include "i18n/language_pack.h"
#include "i18n/utf8_conversion.h"

namespace tavrin {
namespace {

struct LanguageState {
    std::mutex mutex;
    std::string code;
    std::shared_ptr<const StringTable> current;
    std::shared_ptr<const StringTable> english;
};

LanguageState& State() {
    static LanguageState state;
    return state;
}

std::shared_ptr<const StringTable> LoadEnglishBase() {
    auto table = std::make_shared<StringTable>();
    std::wstring ignored;
    if (!LoadLanguagePack("en", *table, ignored) || table->empty()) {
        table->clear();
        table->emplace("app.title", "Tavrin");
    }
    return table;
}

// Loads the English base table the first time anything asks for a text or a language; the
// pack is read outside the lock and swapped in.
void EnsureEnglishBase() {
    LanguageState& state = State();
    {
        std::lock_guard lock(state.mutex);
        if (state.english) {
            return;
        }
    }
    std::shared_ptr<const StringTable> english = LoadEnglishBase();
    std::lock_guard lock(state.mutex);
    if (!state.english) {
        state.english = english;
        state.current = english;
        state.code = "en";
    }
}

const std::string* Find(const StringTable* table, std::string_view key) {
    if (table == nullptr) {
        return nullptr;
    }
    const auto it = table->find(std::string(key));
    return it == table->end() || it->second.empty() ? nullptr : &it->second;
}

}  // namespace

std::string LookUpText(const StringTable* current, const StringTable* english,
                       std::string_view key) {
    if (const std::string* text = Find(current, key); text != nullptr && !IsDamagedText(*text)) {
        return *text;
    }
    if (const std::string* text = Find(english, key)) {
        return *text;
    }
    return std::string(key);
}

// NOLINTNEXTLINE(readability-identifier-naming)
std::string tr(std::string_view key) {
    EnsureEnglishBase();
    LanguageState& state = State();
    std::lock_guard lock(state.mutex);
    return LookUpText(state.current.get(), state.english.get(), key);
}

std::wstring TrWide(std::string_view key) {
    return Utf8ToWide(tr(key));
}

bool SetLanguage(std::string_view code, std::wstring* error) {
    EnsureEnglishBase();
    std::string normal = NormalizeLanguageCode(code);
    if (normal.empty()) {
        normal = "en";
    }
    auto table = std::make_shared<StringTable>();
    std::wstring loadError;
    if (!LoadLanguagePack(normal, *table, loadError)) {
        if (error != nullptr) {
            *error = loadError;
        }
        return false;
    }
    std::shared_ptr<const StringTable> english;
    if (normal == "en") {
        english = table;
    } else {
        auto reloaded = std::make_shared<StringTable>();
        std::wstring ignored;
        if (LoadLanguagePack("en", *reloaded, ignored)) {
            english = std::move(reloaded);
        }
    }
    LanguageState& state = State();
    std::lock_guard lock(state.mutex);
    state.code = normal;
    state.current = std::move(table);
    if (english) {
        state.english = std::move(english);
    }
    return true;
}

std::string CurrentLanguage() {
    EnsureEnglishBase();
    LanguageState& state = State();
    std::lock_guard lock(state.mutex);
    return state.code;
}

void ResetLanguageState() {
    LanguageState& state = State();
    std::lock_guard lock(state.mutex);
    state.code.clear();
    state.current.reset();
    state.english.reset();
}

}  // namespace tavrin
