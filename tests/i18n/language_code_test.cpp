#include "i18n/language_code.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(LanguageCodeTest, trimsLowerCasesAndCutsToTwoCharacters) {
    EXPECT_EQ(NormalizeLanguageCode(" FR_ca "), "fr");
    EXPECT_EQ(NormalizeLanguageCode("fr-CA"), "fr");
    EXPECT_EQ(NormalizeLanguageCode("Fr_Be"), "fr");
    EXPECT_EQ(NormalizeLanguageCode("deu"), "de");
    EXPECT_EQ(NormalizeLanguageCode("HU"), "hu");
    EXPECT_EQ(NormalizeLanguageCode("e"), "e");
    EXPECT_EQ(NormalizeLanguageCode(" \t"), "");
}

}  // namespace
}  // namespace tavrin
