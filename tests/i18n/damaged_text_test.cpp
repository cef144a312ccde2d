#include "i18n/damaged_text.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(DamagedTextTest, questionMarkInsideAWordIsDamage) {
    EXPECT_TRUE(IsDamagedText("Gr?e"));
    EXPECT_TRUE(IsDamagedText("Datei?bertragung"));
    EXPECT_TRUE(IsDamagedText("a?1"));
    EXPECT_TRUE(IsDamagedText("1?2"));
    EXPECT_TRUE(IsDamagedText("\xC3\xA9?\xC5\x91"));          // é?ő
    EXPECT_TRUE(IsDamagedText("\xE6\xBC\xA2?\xE5\xAD\x97"));  // CJK on both sides
    EXPECT_TRUE(IsDamagedText("\xD9\xA3?x"));                 // Arabic-Indic digit three
}

TEST(DamagedTextTest, twoQuestionMarksInARowAreDamage) {
    EXPECT_TRUE(IsDamagedText("Gr??e"));
    EXPECT_TRUE(IsDamagedText("??"));
    EXPECT_TRUE(IsDamagedText("Really??"));
    EXPECT_TRUE(IsDamagedText("?? start"));
}

TEST(DamagedTextTest, questionMarksAtEdgesOrBesideBlanksAreFine) {
    EXPECT_FALSE(IsDamagedText(""));
    EXPECT_FALSE(IsDamagedText("?"));
    EXPECT_FALSE(IsDamagedText("Remove this server?"));
    EXPECT_FALSE(IsDamagedText("?Hello"));
    EXPECT_FALSE(IsDamagedText("What? Yes."));
    EXPECT_FALSE(IsDamagedText("x ? y"));
    EXPECT_FALSE(IsDamagedText("Continue?\n%1"));
    EXPECT_FALSE(IsDamagedText("(%1?)"));
    EXPECT_FALSE(IsDamagedText("a?!"));
    EXPECT_FALSE(
        IsDamagedText("\xC2\xBF"
                      "Qu\xC3\xA9?"));  // ¿Qué?
}

TEST(DamagedTextTest, punctuationAroundAQuestionMarkIsFine) {
    EXPECT_FALSE(IsDamagedText("\xC2\xAB?\xC2\xBB"));  // «?»
    EXPECT_FALSE(IsDamagedText("a?\xE2\x80\x94"));     // a?—
}

}  // namespace
}  // namespace tavrin
