#include "i18n/legal_texts.h"

#include <gtest/gtest.h>

#include <set>

namespace tavrin {
namespace {

TEST(LegalTextsTest, englishTitlesAreTheProgramsOwn) {
    const LegalTexts texts = LegalTextsFor("en");
    EXPECT_EQ(texts.licenseTabTitle, "Freeware License and EULA");
    EXPECT_EQ(texts.licenseButton, "Show license / EULA");
    EXPECT_EQ(texts.noticeTabTitle, "Qt6 / LGPL Notice");
    EXPECT_EQ(texts.hint,
              "Please read the license terms carefully. You use Tavrin entirely at your own risk.");
    EXPECT_EQ(texts.noticeText.rfind("Qt 6 Toolkit and LGPL Notice", 0), 0U);
}

TEST(LegalTextsTest, everyLanguageHasItsOwnCompleteTexts) {
    std::set<std::string> licences;
    std::set<std::string> hints;
    for (const char* code : {"en", "de", "fr", "nl", "hu", "es"}) {
        const LegalTexts texts = LegalTextsFor(code);
        EXPECT_FALSE(texts.licenseTabTitle.empty()) << code;
        EXPECT_FALSE(texts.licenseButton.empty()) << code;
        EXPECT_FALSE(texts.noticeTabTitle.empty()) << code;
        EXPECT_GT(texts.licenseText.size(), 1000U) << code;
        for (const char* library : {"Qt6Core.dll", "Qt6Gui.dll", "Qt6Widgets.dll", "Qt6Svg.dll",
                                    "LGPL", "https://www.gnu.org/licenses/lgpl-3.0"}) {
            EXPECT_NE(texts.noticeText.find(library), std::string::npos) << code << ": " << library;
        }
        licences.insert(texts.licenseText);
        hints.insert(texts.hint);
    }
    EXPECT_EQ(licences.size(), 6U);
    EXPECT_EQ(hints.size(), 6U);
}

TEST(LegalTextsTest, otherCodesGetEnglishAndCodesAreNormalised) {
    EXPECT_EQ(LegalTextsFor("sv").licenseTabTitle, "Freeware License and EULA");
    EXPECT_EQ(LegalTextsFor("").hint, LegalTextsFor("en").hint);
    EXPECT_EQ(LegalTextsFor(" DE_at").licenseText, LegalTextsFor("de").licenseText);
}

}  // namespace
}  // namespace tavrin
