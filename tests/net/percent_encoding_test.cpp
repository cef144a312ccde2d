#include "net/percent_encoding.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(PercentEncodingTest, unreservedCharactersStay) {
    EXPECT_EQ(PercentEncode("AZaz09-._~"), "AZaz09-._~");
    EXPECT_EQ(PercentEncode(""), "");
}

TEST(PercentEncodingTest, spaceAndSlashAreEncoded) {
    EXPECT_EQ(PercentEncode("a b/c"), "a%20b%2Fc");
}

TEST(PercentEncodingTest, everyOtherByteBecomesUpperCaseHex) {
    EXPECT_EQ(PercentEncode("caf\xC3\xA9"), "caf%C3%A9");
    EXPECT_EQ(PercentEncode("a+b&c=d?e#f%g,h"), "a%2Bb%26c%3Dd%3Fe%23f%25g%2Ch");
    EXPECT_EQ(PercentEncode("\\:\x01\x7F\xFF"), "%5C%3A%01%7F%FF");
    EXPECT_EQ(PercentEncode(std::string_view("\0", 1)), "%00");
}

TEST(PercentEncodingTest, slashKeepingVariantKeepsOnlySlashes) {
    EXPECT_EQ(PercentEncodeKeepingSlashes("content/cars/my car/x.kn5"),
              "content/cars/my%20car/x.kn5");
    EXPECT_EQ(PercentEncodeKeepingSlashes("a\\b/c%"), "a%5Cb/c%25");
}

}  // namespace
}  // namespace tavrin

namespace tavrin {
namespace {

TEST(PercentDecodingTest, undoesTheEncoding) {
    std::string decoded;
    ASSERT_TRUE(PercentDecode("a%20b%2Fc%C3%A9~", decoded));
    EXPECT_EQ(decoded, "a b/c\xC3\xA9~");
    ASSERT_TRUE(PercentDecode(PercentEncode("x/y z\\..%"), decoded));
    EXPECT_EQ(decoded, "x/y z\\..%");
}

TEST(PercentDecodingTest, brokenEscapesAreRefused) {
    std::string decoded;
    EXPECT_FALSE(PercentDecode("a%2", decoded));
    EXPECT_FALSE(PercentDecode("a%zz", decoded));
    EXPECT_FALSE(PercentDecode("%", decoded));
}

}  // namespace
}  // namespace tavrin
