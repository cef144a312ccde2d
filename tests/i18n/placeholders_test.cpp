#include "i18n/placeholders.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(PlaceholdersTest, fillsInOrderAndRepeats) {
    EXPECT_EQ(FillPlaceholders(std::wstring_view(L"%1 of %2, again %1"), {L"a", L"b"}),
              L"a of b, again a");
    EXPECT_EQ(FillPlaceholders(std::string_view("%2 before %1"), {"x", "y"}), "y before x");
}

TEST(PlaceholdersTest, argumentsAreNotSearchedAgain) {
    EXPECT_EQ(FillPlaceholders(std::wstring_view(L"%1 / %2"), {L"%2", L"b"}), L"%2 / b");
}

TEST(PlaceholdersTest, missingArgumentsAndOtherPercentSignsStay) {
    EXPECT_EQ(FillPlaceholders(std::wstring_view(L"%1 %3 100% %0 %"), {L"a"}), L"a %3 100% %0 %");
}

TEST(PlaceholdersTest, twoDigitsFormOnePlaceholder) {
    EXPECT_EQ(FillPlaceholders(std::string_view("%10|%1"),
                               {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}),
              "j|a");
    EXPECT_EQ(FillPlaceholders(std::string_view("%10"), {"a"}), "%10");
}

}  // namespace
}  // namespace tavrin
