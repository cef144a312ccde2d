#include "i18n/language_pack.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "i18n/translator.h"
#include "tests/support/language_fixture.h"

namespace tavrin {
namespace {

using test::LanguageFolderTest;

TEST_F(LanguageFolderTest, missingPackCannotBeOpened) {
    StringTable table{{"stale", "x"}};
    std::wstring error;
    EXPECT_FALSE(LoadLanguagePack("xx", table, error));
    EXPECT_EQ(error, L"Failed to open language pack 'xx'.");
    EXPECT_TRUE(table.empty());
}

TEST_F(LanguageFolderTest, syntaxErrorIsReportedWithTheParsersText) {
    WritePack("de", R"({"strings": {"a": "b"})");
    StringTable table;
    std::wstring error;
    EXPECT_FALSE(LoadLanguagePack("de", table, error));
    EXPECT_EQ(error.rfind(L"Failed to parse language pack 'de': ", 0), 0U) << error.c_str();
    EXPECT_GT(error.size(), std::wstring(L"Failed to parse language pack 'de': ").size());
}

TEST_F(LanguageFolderTest, documentThatIsNotAnObjectCannotBeParsed) {
    WritePack("de", R"(["strings"])");
    StringTable table;
    std::wstring error;
    EXPECT_FALSE(LoadLanguagePack("de", table, error));
    EXPECT_EQ(error, L"Failed to parse language pack 'de': the document is not a JSON object");
}

TEST_F(LanguageFolderTest, stringsArrayCountsAsCorruption) {
    WritePack("de", R"({"code": "de", "strings": ["a", "b"]})");
    StringTable table;
    std::wstring error;
    EXPECT_FALSE(LoadLanguagePack("de", table, error));
    EXPECT_EQ(error, L"Language pack 'de' contains likely corrupted replacement characters.");
}

TEST_F(LanguageFolderTest, missingStringsCountsAsCorruption) {
    WritePack("de", R"({"code": "de"})");
    StringTable table;
    std::wstring error;
    EXPECT_FALSE(LoadLanguagePack("de", table, error));
    EXPECT_EQ(error, L"Language pack 'de' contains likely corrupted replacement characters.");
}

TEST_F(LanguageFolderTest, oneDamagedTextRefusesTheWholePack) {
    WritePack("de", R"({"strings": {"a": "Gut", "b": "Gr??e"}})");
    StringTable table;
    std::wstring error;
    EXPECT_FALSE(LoadLanguagePack("de", table, error));
    EXPECT_EQ(error, L"Language pack 'de' contains likely corrupted replacement characters.");
    EXPECT_TRUE(table.empty());
}

TEST_F(LanguageFolderTest, everyMemberIsCopiedAndNonStringsReadAsEmpty) {
    WritePack("de", R"({"strings": {"a": "Eins?", "b": 5, "c": null, "d": "Gr\u00f6\u00dfe"}})");
    StringTable table;
    std::wstring error;
    ASSERT_TRUE(LoadLanguagePack("de", table, error)) << error.c_str();
    EXPECT_EQ(table.size(), 4U);
    EXPECT_EQ(table["a"], "Eins?");
    EXPECT_EQ(table["b"], "");
    EXPECT_EQ(table["c"], "");
    EXPECT_EQ(table["d"],
              "Gr\xC3\xB6\xC3\x9F"
              "e");
}

TEST_F(LanguageFolderTest, packBesideTheProgramOverridesTheBuiltInOne) {
    UseBuiltInPacks(true);
    WritePack("de", R"({"strings": {"button.ok": "Jawohl"}})");
    StringTable table;
    std::wstring error;
    ASSERT_TRUE(LoadLanguagePack("de", table, error));
    EXPECT_EQ(table["button.ok"], "Jawohl");
    EXPECT_EQ(table.count("button.cancel"), 0U);
}

TEST_F(LanguageFolderTest, builtInPackIsUsedWhenTheFolderHasNone) {
    UseBuiltInPacks(true);
    StringTable table;
    std::wstring error;
    ASSERT_TRUE(LoadLanguagePack("de", table, error)) << error.c_str();
    EXPECT_EQ(table["app.title"], "Tavrin");
    EXPECT_FALSE(table["button.cancel"].empty());
}

const LanguageEntry* FindEntry(const std::vector<LanguageEntry>& list, std::string_view code) {
    const auto it = std::find_if(list.begin(), list.end(),
                                 [code](const LanguageEntry& e) { return e.code == code; });
    return it == list.end() ? nullptr : &*it;
}

TEST_F(LanguageFolderTest, builtInListComesFirstInItsOrder) {
    const auto list = AvailableLanguages();
    ASSERT_GE(list.size(), 6U);
    const char* codes[] = {"en", "de", "fr", "nl", "hu", "es"};
    const char* names[] = {"English",
                           "Deutsch",
                           "Fran\xC3\xA7"
                           "ais",
                           "Nederlands",
                           "Magyar",
                           "Espa\xC3\xB1ol"};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(list[i].code, codes[i]);
        EXPECT_EQ(list[i].name, names[i]);
    }
    EXPECT_EQ(list.size(), 6U);
}

TEST_F(LanguageFolderTest, extraPackWithNewCodeAndNameIsOffered) {
    WritePack("custom", R"({"code": " SV_se ", "name": "  Svenska ", "strings": {}})");
    const auto list = AvailableLanguages();
    const LanguageEntry* swedish = FindEntry(list, "sv");
    ASSERT_NE(swedish, nullptr);
    EXPECT_EQ(swedish->name, "Svenska");
    EXPECT_EQ(FindEntry(list, "cu"), nullptr);
}

TEST_F(LanguageFolderTest, packWithoutCodeOrNameIsOfferedUnderItsFileName) {
    WritePack("PT_br", R"({"strings": {}})");
    WritePack("it", "not json");
    const auto list = AvailableLanguages();
    const LanguageEntry* portuguese = FindEntry(list, "pt");
    ASSERT_NE(portuguese, nullptr);
    EXPECT_EQ(portuguese->name, "");
    ASSERT_NE(FindEntry(list, "it"), nullptr);
}

TEST_F(LanguageFolderTest, knownCodeKeepsItsPlaceAndName) {
    WritePack("de", R"json({"code": "de", "name": "German (custom)", "strings": {}})json");
    const auto list = AvailableLanguages();
    EXPECT_EQ(list[1].code, "de");
    EXPECT_EQ(list[1].name, "Deutsch");
    EXPECT_EQ(list.size(), 6U);
}

TEST_F(LanguageFolderTest, foundNameReplacesANameThatIsOnlyTheCode) {
    WritePack("aa", R"({"code": "sv", "name": "", "strings": {}})");
    WritePack("bb", R"({"code": "sv", "name": "sv", "strings": {}})");
    WritePack("cc", R"({"code": "sv", "name": "Svenska", "strings": {}})");
    WritePack("dd", R"({"code": "sv", "name": "Later", "strings": {}})");
    const auto list = AvailableLanguages();
    const LanguageEntry* swedish = FindEntry(list, "sv");
    ASSERT_NE(swedish, nullptr);
    EXPECT_EQ(swedish->name, "Svenska");
    EXPECT_EQ(std::count_if(list.begin(), list.end(),
                            [](const LanguageEntry& e) { return e.code == "sv"; }),
              1);
}

}  // namespace
}  // namespace tavrin
