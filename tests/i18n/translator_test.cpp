#include "i18n/translator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "i18n/language_pack.h"
#include "tests/support/language_fixture.h"

namespace tavrin {
namespace {

using test::LanguageFolderTest;

constexpr std::string_view kEnglish =
    R"({"code": "en", "name": "English", "strings": {"app.title": "Tavrin",
        "button.ok": "OK", "button.cancel": "Cancel", "warn.confirm_remove_server": "Remove %1?",
        "label.selected": "%1 selected"}})";
constexpr std::string_view kFrench =
    R"({"code": "fr", "name": "Fran\u00e7ais", "strings": {"button.cancel": "Annuler",
        "button.ok": "", "warn.confirm_remove_server": "Supprimer %1 ?"}})";

TEST_F(LanguageFolderTest, keyMissingEverywhereShowsItself) {
    WritePack("en", kEnglish);
    EXPECT_EQ(tr("no.such_key"), "no.such_key");
    EXPECT_EQ(TrWide("no.such_key"), L"no.such_key");
}

TEST_F(LanguageFolderTest, firstLookupLoadsEnglishAndMakesItCurrent) {
    WritePack("en", kEnglish);
    EXPECT_EQ(tr("button.cancel"), "Cancel");
    EXPECT_EQ(CurrentLanguage(), "en");
}

TEST_F(LanguageFolderTest, withoutAnyEnglishPackOnlyTheTitleIsKnown) {
    EXPECT_EQ(tr("app.title"), "Tavrin");
    EXPECT_EQ(tr("button.cancel"), "button.cancel");
    EXPECT_EQ(CurrentLanguage(), "en");
}

TEST_F(LanguageFolderTest, currentLanguageFallsBackToEnglishForMissingAndEmptyTexts) {
    WritePack("en", kEnglish);
    WritePack("fr", kFrench);
    ASSERT_TRUE(SetLanguage("fr"));
    EXPECT_EQ(CurrentLanguage(), "fr");
    EXPECT_EQ(tr("button.cancel"), "Annuler");
    EXPECT_EQ(tr("button.ok"), "OK");                // empty in French
    EXPECT_EQ(tr("label.selected"), "%1 selected");  // missing in French
    EXPECT_EQ(tr("warn.confirm_remove_server"), "Supprimer %1 ?");
    EXPECT_EQ(TrWide("app.title"), L"Tavrin");
}

TEST(LookUpTextTest, damagedCurrentTextFallsBackToEnglishButAQuestionIsUsed) {
    const StringTable english{{"a", "Size"}, {"q", "Remove %1?"}, {"e", "Empty"}};
    const StringTable current{{"a", "Gr??e"}, {"q", "%1 entfernen?"}, {"e", ""}, {"w", "Gr?e"}};
    EXPECT_EQ(LookUpText(&current, &english, "a"), "Size");
    EXPECT_EQ(LookUpText(&current, &english, "q"), "%1 entfernen?");
    EXPECT_EQ(LookUpText(&current, &english, "e"), "Empty");
    EXPECT_EQ(LookUpText(&current, &english, "w"), "w");  // damaged, and no English text
    EXPECT_EQ(LookUpText(nullptr, nullptr, "x.y"), "x.y");
}

TEST_F(LanguageFolderTest, refusedPackLeavesThePreviousLanguageCurrent) {
    WritePack("en", kEnglish);
    WritePack("fr", kFrench);
    WritePack("de", R"({"strings": ["Abbrechen"]})");
    ASSERT_TRUE(SetLanguage("fr"));
    std::wstring error;
    EXPECT_FALSE(SetLanguage("de", &error));
    EXPECT_EQ(error, L"Language pack 'de' contains likely corrupted replacement characters.");
    EXPECT_EQ(CurrentLanguage(), "fr");
    EXPECT_EQ(tr("button.cancel"), "Annuler");
}

TEST_F(LanguageFolderTest, packWithATextDamagedInAWordIsRefused) {
    WritePack("en", kEnglish);
    WritePack("de", R"({"strings": {"button.cancel": "Abbr??hen"}})");
    std::wstring error;
    EXPECT_FALSE(SetLanguage("de", &error));
    EXPECT_EQ(CurrentLanguage(), "en");
    EXPECT_EQ(tr("button.cancel"), "Cancel");
}

TEST_F(LanguageFolderTest, codeWithRegionInAnyCaseLoadsTheLanguage) {
    WritePack("en", kEnglish);
    WritePack("fr", kFrench);
    ASSERT_TRUE(SetLanguage("FR_ca"));
    EXPECT_EQ(CurrentLanguage(), "fr");
    ASSERT_TRUE(SetLanguage("en"));
    ASSERT_TRUE(SetLanguage("fr-BE"));
    EXPECT_EQ(CurrentLanguage(), "fr");
    EXPECT_EQ(tr("button.cancel"), "Annuler");
}

TEST_F(LanguageFolderTest, emptyCodeMeansEnglish) {
    WritePack("en", kEnglish);
    WritePack("fr", kFrench);
    ASSERT_TRUE(SetLanguage("fr"));
    ASSERT_TRUE(SetLanguage("  "));
    EXPECT_EQ(CurrentLanguage(), "en");
    EXPECT_EQ(tr("button.cancel"), "Cancel");
}

TEST_F(LanguageFolderTest, unknownLanguageIsRefused) {
    WritePack("en", kEnglish);
    std::wstring error;
    EXPECT_FALSE(SetLanguage("xx", &error));
    EXPECT_EQ(error, L"Failed to open language pack 'xx'.");
    EXPECT_EQ(CurrentLanguage(), "en");
}

TEST_F(LanguageFolderTest, languageChangesWhileOtherThreadsLookUp) {
    WritePack("en", kEnglish);
    WritePack("fr", kFrench);
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!stop) {
                const std::string text = tr("button.cancel");
                if (text != "Cancel" && text != "Annuler") {
                    ++wrong;
                }
            }
        });
    }
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(SetLanguage(i % 2 == 0 ? "fr" : "en"));
    }
    stop = true;
    for (auto& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST(BuiltInLanguageTest, everyBuiltInLanguageCanBeMadeCurrent) {
    for (const char* code : {"de", "fr", "nl", "hu", "es", "en"}) {
        std::wstring error;
        ASSERT_TRUE(SetLanguage(code, &error)) << code << ": " << error.c_str();
        EXPECT_EQ(CurrentLanguage(), code);
        EXPECT_EQ(tr("app.title"), "Tavrin");
    }
    ASSERT_TRUE(SetLanguage("de"));
    const std::string german = tr("button.cancel");
    ASSERT_TRUE(SetLanguage("en"));
    EXPECT_NE(german, tr("button.cancel"));
}

}  // namespace
}  // namespace tavrin
