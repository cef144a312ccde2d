#include "i18n/letter_or_number.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(LetterOrNumberTest, lettersOfEveryScriptCount) {
    for (const char32_t c :
         {U'a', U'Z', U'\u00E9', U'\u00DF', U'\u0151', U'\u00C5', U'\u03A9', U'\u0416', U'\u05D0',
          U'\u0628', U'\u6F22', U'\u3042', U'\uAC00', U'\u02B0', U'\U0001D400', U'\U00020000'}) {
        EXPECT_TRUE(IsLetterOrNumber(c)) << std::hex << static_cast<unsigned>(c);
    }
}

TEST(LetterOrNumberTest, digitsAndNumbersOfEveryScriptCount) {
    for (const char32_t c : {U'0', U'9', U'\u0660', U'\u0663', U'\u06F5', U'\u0967', U'\uFF11',
                             U'\u00B2', U'\u00BD', U'\u2160', U'\u216B', U'\u2460'}) {
        EXPECT_TRUE(IsLetterOrNumber(c)) << std::hex << static_cast<unsigned>(c);
    }
}

TEST(LetterOrNumberTest, punctuationSymbolsMarksAndBlanksDoNotCount) {
    for (const char32_t c :
         {U'?',      U'!',      U'.',      U'-',      U'_',          U' ',      U'\t',
          U'\u00A0', U'\u00BF', U'\u00AB', U'\u2014', U'\u00B7',     U'\u20AC', U'\u00B0',
          U'\u0301', U'\u3000', U'\u060C', U'\uFFFD', U'\U0001F600', U'\0'}) {
        EXPECT_FALSE(IsLetterOrNumber(c)) << std::hex << static_cast<unsigned>(c);
    }
}

TEST(LetterOrNumberTest, rangeEdgesAreExact) {
    EXPECT_TRUE(IsLetterOrNumber(U'\u4E00'));   // first CJK ideograph
    EXPECT_TRUE(IsLetterOrNumber(U'\u9FFF'));   // last of the block (Unicode 14+)
    EXPECT_FALSE(IsLetterOrNumber(U'\u00D7'));  // multiplication sign between letters
    EXPECT_TRUE(IsLetterOrNumber(U'\u00D6'));
    EXPECT_TRUE(IsLetterOrNumber(U'\u00D8'));
    EXPECT_FALSE(IsLetterOrNumber(0x10FFFF));
    EXPECT_FALSE(IsLetterOrNumber(0x110000));
}

}  // namespace
}  // namespace tavrin
