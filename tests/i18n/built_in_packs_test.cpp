// Checks the six language packs that ship with the program against the key catalogue and
// against each other.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "base/embedded_file.h"
#include "i18n/key_catalogue.h"
#include "i18n/language_pack.h"

namespace tavrin {
namespace {

const char* const kCodes[] = {"en", "de", "fr", "nl", "hu", "es"};

nlohmann::json BuiltInPack(std::string_view code) {
    const std::string name = std::string(code) + ".json";
    for (const EmbeddedFile& file : BuiltInLanguagePacks()) {
        if (file.name == name) {
            return nlohmann::json::parse(file.bytes, nullptr, false);
        }
    }
    return nlohmann::json();
}

std::multiset<std::string> Placeholders(const std::string& text) {
    static const std::regex placeholder("%[0-9]+");
    std::multiset<std::string> found;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), placeholder);
         it != std::sregex_iterator(); ++it) {
        found.insert(it->str());
    }
    return found;
}

class BuiltInPackTest : public ::testing::TestWithParam<const char*> {};

TEST_P(BuiltInPackTest, holdsEveryCatalogueKeyAndNoOther) {
    const nlohmann::json pack = BuiltInPack(GetParam());
    ASSERT_TRUE(pack.is_object());
    EXPECT_EQ(pack.value("code", ""), GetParam());
    EXPECT_FALSE(pack.value("name", "").empty());
    const nlohmann::json& strings = pack["strings"];
    ASSERT_TRUE(strings.is_object());
    for (const std::string_view key : kTranslationKeys) {
        const auto it = strings.find(std::string(key));
        ASSERT_NE(it, strings.end()) << GetParam() << " misses " << key;
        ASSERT_TRUE(it->is_string()) << key;
        EXPECT_FALSE(it->get<std::string>().empty()) << GetParam() << " leaves " << key << " empty";
    }
    for (const auto& item : strings.items()) {
        EXPECT_NE(std::find(kTranslationKeys.begin(), kTranslationKeys.end(), item.key()),
                  kTranslationKeys.end())
            << GetParam() << " has the unknown key " << item.key();
    }
}

TEST_P(BuiltInPackTest, usesTheSamePlaceholdersAsEnglish) {
    const nlohmann::json english = BuiltInPack("en")["strings"];
    const nlohmann::json strings = BuiltInPack(GetParam())["strings"];
    for (const std::string_view key : kTranslationKeys) {
        const std::string k(key);
        EXPECT_EQ(Placeholders(strings.value(k, "")), Placeholders(english.value(k, "")))
            << GetParam() << ": " << key;
    }
}

TEST_P(BuiltInPackTest, passesTheLoadersChecks) {
    StringTable table;
    std::wstring error;
    EXPECT_TRUE(LoadLanguagePack(GetParam(), table, error)) << error.c_str();
    EXPECT_EQ(table.size(), kTranslationKeys.size());
}

class TranslatedPackTest : public ::testing::TestWithParam<const char*> {};

TEST_P(TranslatedPackTest, isTranslatedRatherThanCopied) {
    const nlohmann::json english = BuiltInPack("en")["strings"];
    const nlohmann::json strings = BuiltInPack(GetParam())["strings"];
    std::size_t same = 0;
    for (const std::string_view key : kTranslationKeys) {
        const std::string k(key);
        same += strings.value(k, "") == english.value(k, "") ? 1 : 0;
    }
    // Product names, "OK" and bare placeholders may stay; a pack mostly in English is wrong.
    EXPECT_LT(same, kTranslationKeys.size() / 10) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(AllLanguages, BuiltInPackTest, ::testing::ValuesIn(kCodes),
                         [](const auto& param) { return std::string(param.param); });
INSTANTIATE_TEST_SUITE_P(Translations, TranslatedPackTest,
                         ::testing::ValuesIn(std::begin(kCodes) + 1, std::end(kCodes)),
                         [](const auto& param) { return std::string(param.param); });

// Every translation key written in the program's sources must be in the catalogue.
TEST(KeyCatalogueTest, everyKeyUsedInTheSourcesIsCatalogued) {
    static const std::regex key(
        "\"((accessible|action|app|badge|button|common|dialog|error|hint|label|log|menu|"
        "placeholder|progress|reason|section|status|title|toast|toolbar|tooltip|tray|warn|"
        "warning)\\.[a-z0-9_]+)\"");
    const std::filesystem::path root = TAVRIN_SOURCE_DIR;
    std::size_t files = 0;
    for (const char* folder : {"app", "settings", "i18n", "net", "manifest", "sync", "discovery",
                               "ui", "cli", "server"}) {
        std::error_code ec;
        if (!std::filesystem::is_directory(root / folder, ec)) {
            continue;
        }
        for (const auto& item : std::filesystem::recursive_directory_iterator(root / folder)) {
            const auto extension = item.path().extension();
            if (extension != ".cpp" && extension != ".h") {
                continue;
            }
            ++files;
            std::ifstream in(item.path(), std::ios::binary);
            const std::string text((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
            for (auto it = std::sregex_iterator(text.begin(), text.end(), key);
                 it != std::sregex_iterator(); ++it) {
                const std::string used = (*it)[1].str();
                EXPECT_NE(std::find(kTranslationKeys.begin(), kTranslationKeys.end(), used),
                          kTranslationKeys.end())
                    << used << " is used in " << item.path().string() << " but not catalogued";
            }
        }
    }
    EXPECT_GT(files, 10U) << "the sources were not found under " << root.string();
}

TEST(KeyCatalogueTest, keysAreUniqueAndSorted) {
    EXPECT_TRUE(std::is_sorted(kTranslationKeys.begin(), kTranslationKeys.end()));
    EXPECT_EQ(std::adjacent_find(kTranslationKeys.begin(), kTranslationKeys.end()),
              kTranslationKeys.end());
}

}  // namespace
}  // namespace tavrin
