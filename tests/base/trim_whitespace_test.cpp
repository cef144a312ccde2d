#include "base/trim_whitespace.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(TrimWhitespaceTest, removesSpaceTabCrAndLfAtBothEnds) {
    EXPECT_EQ(TrimWhitespace(L" \t\r\nC:\\Games\\ac \r\n\t "), L"C:\\Games\\ac");
    EXPECT_EQ(TrimWhitespace(std::string_view(" \thttp://x \n")), "http://x");
}

TEST(TrimWhitespaceTest, keepsInnerBlanks) {
    EXPECT_EQ(TrimWhitespace(L"  a \t b  "), L"a \t b");
}

TEST(TrimWhitespaceTest, allBlankGivesEmpty) {
    EXPECT_EQ(TrimWhitespace(L" \t\r\n"), L"");
    EXPECT_EQ(TrimWhitespace(L""), L"");
    EXPECT_EQ(TrimWhitespace(std::string_view("\r\n")), "");
}

TEST(TrimWhitespaceTest, otherWhitespaceIsNotRemoved) {
    EXPECT_EQ(TrimWhitespace(L"\v\fx\u00A0"), L"\v\fx\u00A0");
    EXPECT_EQ(TrimWhitespace(L"\u3000x\u2003"), L"\u3000x\u2003");
}

}  // namespace
}  // namespace tavrin
