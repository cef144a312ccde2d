#include "i18n/utf8_conversion.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(Utf8ConversionTest, asciiAndEmpty) {
    EXPECT_EQ(Utf8ToWide(""), L"");
    EXPECT_EQ(WideToUtf8(L""), "");
    EXPECT_EQ(Utf8ToWide("content/cars"), L"content/cars");
    EXPECT_EQ(WideToUtf8(L"C:\\Games"), "C:\\Games");
}

TEST(Utf8ConversionTest, twoAndThreeByteCharacters) {
    EXPECT_EQ(Utf8ToWide("caf\xC3\xA9 \xC5\x91 \xE6\xBC\xA2"), L"caf\u00E9 \u0151 \u6F22");
    EXPECT_EQ(WideToUtf8(L"caf\u00E9 \u0151 \u6F22"), "caf\xC3\xA9 \xC5\x91 \xE6\xBC\xA2");
}

TEST(Utf8ConversionTest, charactersBeyondTheBasicPlaneRoundTrip) {
    // One wchar_t on Linux (UTF-32), a surrogate pair on Windows (UTF-16).
    const std::wstring wide = Utf8ToWide("\xF0\x9F\x98\x80!");
    EXPECT_EQ(wide, L"\U0001F600!");
    EXPECT_EQ(wide.size(), sizeof(wchar_t) == 2 ? 3U : 2U);
    EXPECT_EQ(WideToUtf8(wide), "\xF0\x9F\x98\x80!");
}

TEST(Utf8ConversionTest, embeddedNulIsKept) {
    EXPECT_EQ(Utf8ToWide(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
    EXPECT_EQ(WideToUtf8(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(Utf8ConversionTest, invalidBytesBecomeReplacementCharacters) {
    EXPECT_EQ(Utf8ToWide("a\xFF"
                         "b"),
              L"a\uFFFDb");
    EXPECT_EQ(Utf8ToWide("a\x80"
                         "b"),
              L"a\uFFFDb");
}

}  // namespace
}  // namespace tavrin
