#include "i18n/language_pack.h"

#include <algorithm>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>

#include "base/embedded_file.h"
#include "base/executable_directory.h"
#include "base/file_io.h"
#include "base/trim_whitespace.h"
#include "i18n/damaged_text.h"
#include "i18n/language_code.h"
#include "i18n/placeholders.h"
#include "i18n/utf8_conversion.h"
#include "manifest/json_document.h"

namespace tavrin {
namespace {

std::mutex sourcesMutex;
std::optional<LanguagePackSources> configuredSources;

std::optional<std::string> BuiltInPack(std::string_view fileName) {
    for (const EmbeddedFile& file : BuiltInLanguagePacks()) {
        if (file.name == fileName) {
            return std::string(file.bytes);
        }
    }
    return std::nullopt;
}

// The first candidate that opens: the folder beside the program, then the built-in packs.
std::optional<std::string> OpenPack(const LanguagePackSources& sources, std::string_view code) {
    const std::string fileName = std::string(code) + ".json";
    if (!sources.applicationDirectory.empty()) {
        if (auto bytes = ReadWholeFile(sources.applicationDirectory / "i18n" / fileName)) {
            return bytes;
        }
    }
    if (sources.useBuiltIn) {
        return BuiltInPack(fileName);
    }
    return std::nullopt;
}

bool ParsePack(const std::string& bytes, nlohmann::json& document, std::string& error) {
    if (!ParseJsonDocument(bytes, document, error)) {
        return false;
    }
    if (!document.is_object()) {
        error = "the document is not a JSON object";
        return false;
    }
    return true;
}

std::string TextOf(const nlohmann::json& value) {
    return value.is_string() ? value.get<std::string>() : std::string();
}

bool HasDamagedTexts(const nlohmann::json& pack) {
    const auto strings = pack.find("strings");
    if (strings == pack.end() || !strings->is_object()) {
        return true;
    }
    for (const auto& item : strings->items()) {
        if (IsDamagedText(TextOf(item.value()))) {
            return true;
        }
    }
    return false;
}

std::wstring Message(const wchar_t* text, std::string_view code, std::string_view detail = {}) {
    return FillPlaceholders(std::wstring_view(text), {Utf8ToWide(code), Utf8ToWide(detail)});
}

}  // namespace

LanguagePackSources CurrentLanguagePackSources() {
    std::lock_guard lock(sourcesMutex);
    if (!configuredSources) {
        configuredSources = LanguagePackSources{ExecutableDirectory(), true};
    }
    return *configuredSources;
}

void SetLanguagePackSources(LanguagePackSources sources) {
    std::lock_guard lock(sourcesMutex);
    configuredSources = std::move(sources);
}

bool LoadLanguagePack(std::string_view code, StringTable& table, std::wstring& error) {
    table.clear();
    const std::optional<std::string> bytes = OpenPack(CurrentLanguagePackSources(), code);
    if (!bytes) {
        error = Message(L"Failed to open language pack '%1'.", code);
        return false;
    }
    nlohmann::json pack;
    std::string parseError;
    if (!ParsePack(*bytes, pack, parseError)) {
        error = Message(L"Failed to parse language pack '%1': %2", code, parseError);
        return false;
    }
    // The damage check runs first and also catches a missing "strings" object; the message
    // for that case stays for packs that pass the check some other way.
    if (HasDamagedTexts(pack)) {
        error =
            Message(L"Language pack '%1' contains likely corrupted replacement characters.", code);
        return false;
    }
    const auto strings = pack.find("strings");
    if (strings == pack.end() || !strings->is_object()) {
        error = Message(L"Language pack '%1' misses 'strings' object.", code);
        return false;
    }
    for (const auto& item : strings->items()) {
        table[item.key()] = TextOf(item.value());
    }
    return true;
}

namespace {

constexpr std::pair<const char*, const char*> kBuiltInLanguages[] = {{"en", "English"},
                                                                     {"de", "Deutsch"},
                                                                     {"fr",
                                                                      "Fran\xC3\xA7"
                                                                      "ais"},
                                                                     {"nl", "Nederlands"},
                                                                     {"hu", "Magyar"},
                                                                     {"es", "Espa\xC3\xB1ol"}};

LanguageEntry EntryFromPack(std::string_view fileStem, const std::string& bytes) {
    LanguageEntry entry{NormalizeLanguageCode(fileStem), {}};
    nlohmann::json pack;
    std::string ignored;
    if (ParsePack(bytes, pack, ignored)) {
        const std::string code =
            NormalizeLanguageCode(TextOf(pack.value("code", nlohmann::json())));
        if (!code.empty()) {
            entry.code = code;
        }
        entry.name = TrimWhitespace(TextOf(pack.value("name", nlohmann::json())));
    }
    return entry;
}

void Merge(std::vector<LanguageEntry>& list, LanguageEntry found) {
    if (found.code.empty()) {
        return;
    }
    for (LanguageEntry& present : list) {
        if (present.code == found.code) {
            if (!found.name.empty() && (present.name.empty() || present.name == present.code)) {
                present.name = std::move(found.name);
            }
            return;
        }
    }
    list.push_back(std::move(found));
}

}  // namespace

std::vector<LanguageEntry> AvailableLanguages() {
    std::vector<LanguageEntry> list;
    for (const auto& [code, name] : kBuiltInLanguages) {
        list.push_back({code, name});
    }
    const LanguagePackSources sources = CurrentLanguagePackSources();
    std::error_code ec;
    const std::filesystem::path folder = sources.applicationDirectory / "i18n";
    if (!sources.applicationDirectory.empty() && std::filesystem::is_directory(folder, ec)) {
        std::vector<std::filesystem::path> files;
        for (const auto& item : std::filesystem::directory_iterator(folder, ec)) {
            if (item.path().extension() == ".json") {
                files.push_back(item.path());
            }
        }
        std::sort(files.begin(), files.end());
        for (const auto& file : files) {
            if (auto bytes = ReadWholeFile(file)) {
                Merge(list, EntryFromPack(PathToUtf8(file.stem()), *bytes));
            }
        }
    }
    if (sources.useBuiltIn) {
        for (const EmbeddedFile& file : BuiltInLanguagePacks()) {
            const std::string_view stem = file.name.substr(0, file.name.rfind('.'));
            Merge(list, EntryFromPack(stem, std::string(file.bytes)));
        }
    }
    return list;
}

}  // namespace tavrin
