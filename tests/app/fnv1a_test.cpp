#include "app/fnv1a.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(Fnv1aTest, emptyInputIsTheProgramsOwnStartingValue) {
    EXPECT_EQ(Fnv1a64(""), 0x14650fb0739d0383ULL);
    EXPECT_EQ(Fnv1a64Hex(""), "14650fb0739d0383");
}

TEST(Fnv1aTest, eachByteIsXoredThenMultipliedByTheFnvPrime) {
    EXPECT_EQ(Fnv1a64("a"), (0x14650fb0739d0383ULL ^ 0x61ULL) * 0x100000001b3ULL);
    EXPECT_EQ(Fnv1a64Hex("a"), "44bd8ad473cd9906");
    EXPECT_EQ(Fnv1a64Hex("http://example.com|Project One"), "8309a06f6fbdb403");
}

TEST(Fnv1aTest, bytesAboveAsciiAreHashedUnsigned) {
    EXPECT_EQ(Fnv1a64Hex("PC-RACER|\xC3\x96"
                         "d\xC3\xB6n"),
              "7f8778fbc58f0c92");
}

TEST(Fnv1aTest, hexIsZeroPaddedToSixteenLowerCaseDigits) {
    EXPECT_EQ(Fnv1a64Hex("server73300"), "000aad16cd6781ab");
}

}  // namespace
}  // namespace tavrin
