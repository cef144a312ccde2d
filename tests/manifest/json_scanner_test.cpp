#include "manifest/json_scanner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "manifest/file_list_reader.h"

namespace tavrin {
namespace {

struct StringResult {
    bool ok = false;
    std::string value;
    std::string error;
    std::size_t position = 0;
    bool viewsInput = false;    // the view starts right after the opening quote: no copy
    bool viewsScratch = false;  // the view is the decoded copy in the scratch
};

StringResult ScanString(std::string_view text) {
    StringResult result;
    FileListReader reader{text, 0};
    std::string scratch = "left over";
    std::string_view view;
    FileListReadError error;
    result.ok = json::ReadStringView(reader, scratch, view, error);
    if (result.ok) {
        result.value.assign(view);
        result.viewsInput = view.data() == text.data() + 1;
        result.viewsScratch = view.data() == scratch.data() && view.size() == scratch.size();
    }
    result.error = error.message;
    result.position = reader.position;
    return result;
}

struct NumberResult {
    bool ok = false;
    double value = -1.0;
    std::string error;
    std::size_t position = 0;
};

NumberResult ScanNumber(std::string_view text) {
    NumberResult result;
    FileListReader reader{text, 0};
    FileListReadError error;
    result.ok = ReadNumber(reader, result.value, error);
    result.error = error.message;
    result.position = reader.position;
    return result;
}

struct SkipResult {
    bool ok = false;
    std::string error;
    std::size_t position = 0;
};

SkipResult Skip(std::string_view text) {
    SkipResult result;
    FileListReader reader{text, 0};
    FileListReadError error;
    result.ok = SkipValue(reader, error);
    result.error = error.message;
    result.position = reader.position;
    return result;
}

// Cursor helpers.

TEST(JsonScannerTest, cursorHelpersLookAtThePosition) {
    const FileListReader reader{"ab", 1};
    EXPECT_FALSE(json::AtEnd(reader));
    EXPECT_EQ(json::Peek(reader), 'b');
    EXPECT_TRUE(json::AtEnd(FileListReader{"ab", 2}));
    EXPECT_TRUE(json::AtEnd(FileListReader{"", 0}));
}

TEST(JsonScannerTest, failSetsTheMessageAndReturnsFalse) {
    FileListReadError error;
    EXPECT_FALSE(json::Fail(error, "Expected ':'"));
    EXPECT_EQ(error.message, "Expected ':'");
}

TEST(JsonScannerTest, whitespaceIsTheFourJsonCharactersOnly) {
    FileListReader reader{" \t\r\n\v x", 0};
    json::SkipSpace(reader);
    EXPECT_EQ(reader.position, 4U);
    FileListReader same{" \t\r\n\f x", 0};
    SkipWhitespace(same);
    EXPECT_EQ(same.position, 4U);
    FileListReader trailing{"a  ", 1};
    json::SkipSpace(trailing);
    EXPECT_EQ(trailing.position, 3U);
    EXPECT_TRUE(json::IsJsonWhitespace('\r'));
    EXPECT_FALSE(json::IsJsonWhitespace('\v'));
    EXPECT_TRUE(json::IsDigit('0'));
    EXPECT_TRUE(json::IsDigit('9'));
    EXPECT_FALSE(json::IsDigit('a'));
    EXPECT_FALSE(json::IsDigit('/'));
}

// Strings.

TEST(JsonScannerTest, plainStringIsAViewIntoTheInput) {
    const StringResult result = ScanString(R"("content/cars" , )");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.value, "content/cars");
    EXPECT_EQ(result.position, 14U);
    EXPECT_TRUE(result.viewsInput);
    EXPECT_FALSE(result.viewsScratch);

    const StringResult empty = ScanString(R"("")");
    ASSERT_TRUE(empty.ok) << empty.error;
    EXPECT_EQ(empty.value, "");
    EXPECT_EQ(empty.position, 2U);
}

TEST(JsonScannerTest, escapedStringIsDecodedIntoTheScratch) {
    const StringResult result = ScanString(R"("dir\/a\tb\\c\"d\n\r\b\f" tail)");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.value, "dir/a\tb\\c\"d\n\r\b\f");
    EXPECT_EQ(result.position, 25U);
    EXPECT_TRUE(result.viewsScratch);
    EXPECT_FALSE(result.viewsInput);
}

TEST(JsonScannerTest, unicodeEscapesBecomeUtf8) {
    EXPECT_EQ(ScanString(R"("a\u00e9b")").value, std::string("a\xC3\xA9") + 'b');
    EXPECT_EQ(ScanString(R"("\u0041\u07FF\u0800\uFFFF")").value,
              "A\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
    EXPECT_EQ(ScanString(R"("\u0000")").value, std::string(1, '\0'));
    EXPECT_EQ(ScanString(R"("\u00e9")").position, 8U);
}

TEST(JsonScannerTest, surrogatesAreWrittenOneByOne) {
    const StringResult pair = ScanString(R"("\uD83D\uDE00")");
    ASSERT_TRUE(pair.ok) << pair.error;
    EXPECT_EQ(pair.value, "\xED\xA0\xBD\xED\xB8\x80");
    EXPECT_EQ(pair.position, 14U);
    EXPECT_EQ(ScanString(R"("\uDC00x")").value, "\xED\xB0\x80x");
    EXPECT_EQ(ScanString(R"("x\uD800")").value, "x\xED\xA0\x80");
}

TEST(JsonScannerTest, stringErrorsAndWhereTheyStop) {
    const StringResult notString = ScanString("x");
    EXPECT_FALSE(notString.ok);
    EXPECT_EQ(notString.error, "Expected string");
    EXPECT_EQ(notString.position, 0U);

    const StringResult unterminated = ScanString("\"abc");
    EXPECT_EQ(unterminated.error, "Unterminated string");
    EXPECT_EQ(unterminated.position, 4U);

    const StringResult afterEscape = ScanString("\"a\\n");
    EXPECT_EQ(afterEscape.error, "Unterminated string");
    EXPECT_EQ(afterEscape.position, 4U);

    const StringResult endsInBackslash = ScanString("\"a\\");
    EXPECT_EQ(endsInBackslash.error, "Invalid escape");
    EXPECT_EQ(endsInBackslash.position, 3U);

    const StringResult unknown = ScanString(R"("ab\x")");
    EXPECT_EQ(unknown.error, "Unknown escape");
    EXPECT_EQ(unknown.position, 5U);

    const StringResult shortUnicode = ScanString(R"("\u12")");
    EXPECT_EQ(shortUnicode.error, "Invalid unicode escape");
    EXPECT_EQ(shortUnicode.position, 3U);

    const StringResult badHex = ScanString(R"("\u12g4")");
    EXPECT_EQ(badHex.error, "Invalid unicode hex");
    EXPECT_EQ(badHex.position, 5U);
}

TEST(JsonScannerTest, readStringCopiesEitherForm) {
    for (const auto& [text, expected] :
         {std::pair<std::string_view, std::string_view>{R"("plain")", "plain"},
          {R"("es\u0063aped")", "escaped"}}) {
        FileListReader reader{text, 0};
        std::string out = "previous";
        FileListReadError error;
        ASSERT_TRUE(ReadString(reader, out, error)) << error.message;
        EXPECT_EQ(out, expected);
        EXPECT_EQ(reader.position, text.size());
    }
}

// Numbers.

TEST(JsonScannerTest, numbersAreReadAsStrtodReadsThem) {
    struct Case {
        std::string_view text;
        double value;
        std::size_t position;
    };
    for (const Case& c :
         {Case{"123,", 123.0, 3}, Case{"-2.5e3]", -2500.0, 6}, Case{"+7", 7.0, 2},
          Case{"007", 7.0, 3}, Case{".25}", 0.25, 3}, Case{"5.", 5.0, 2}, Case{"1e", 1.0, 1},
          Case{"0x1A ", 26.0, 4}, Case{"0X1p4", 16.0, 5}, Case{"0x", 0.0, 1},
          Case{"\v\f 9", 9.0, 4}, Case{"9007199254740993", 9007199254740992.0, 16},
          Case{"1234567890123456789012", 1234567890123456789012.0, 22},
          Case{"1700000000.123456", 1700000000.123456, 17}}) {
        const NumberResult result = ScanNumber(c.text);
        ASSERT_TRUE(result.ok) << c.text << ": " << result.error;
        EXPECT_EQ(result.value, c.value) << c.text;
        EXPECT_EQ(result.position, c.position) << c.text;
    }
    const NumberResult negativeZero = ScanNumber("-0");
    ASSERT_TRUE(negativeZero.ok);
    EXPECT_EQ(negativeZero.value, 0.0);
    EXPECT_TRUE(std::signbit(negativeZero.value));
}

TEST(JsonScannerTest, numberErrorsLeaveTheCursorAndTheValue) {
    for (const char* text : {"", "-", "+", "--1", "+-1", "- 1", ".", "e5", "x", "}"}) {
        const NumberResult result = ScanNumber(text);
        EXPECT_FALSE(result.ok) << text;
        EXPECT_EQ(result.error, "Invalid number") << text;
        EXPECT_EQ(result.position, 0U) << text;
        EXPECT_EQ(result.value, -1.0) << text;
    }
    for (const char* text : {"1e400", "-1e400", "inf", "-Infinity", "nan", "1e-400", "4e-320"}) {
        const NumberResult result = ScanNumber(text);
        EXPECT_FALSE(result.ok) << text;
        EXPECT_EQ(result.error, "Number out of range") << text;
        EXPECT_EQ(result.position, 0U) << text;
    }
}

// Skipping values.

TEST(JsonScannerTest, skipsScalarsAndStopsRightAfterThem) {
    EXPECT_EQ(Skip("true  ").position, 4U);
    EXPECT_EQ(Skip("false,").position, 5U);
    EXPECT_EQ(Skip("  null").position, 6U);
    EXPECT_EQ(Skip("nullx").position, 4U);
    EXPECT_EQ(Skip(R"("s\"x" ,)").position, 6U);
    EXPECT_EQ(Skip("-2.5e3}").position, 6U);
    EXPECT_TRUE(Skip("[]").ok);
    EXPECT_EQ(Skip("[ ]").position, 3U);
    EXPECT_EQ(Skip("{ } ,").position, 3U);
}

TEST(JsonScannerTest, skipsNestedContainers) {
    const std::string_view value = R"({"a":[1,{"b":null}],"c":"x","d":{},"e":[[],[true]]})";
    const std::string text = "  " + std::string(value) + " tail";
    const SkipResult result = Skip(text);
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.position, 2 + value.size());

    const SkipResult spaced = Skip("[ 1 , { \"k\" : [ ] } ] x");
    ASSERT_TRUE(spaced.ok) << spaced.error;
    EXPECT_EQ(spaced.position, 21U);
}

TEST(JsonScannerTest, skipsDeepNestingWithoutRecursion) {
    constexpr std::size_t kDepth = 200000;
    const std::string text = std::string(kDepth, '[') + std::string(kDepth, ']');
    const SkipResult result = Skip(text);
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.position, 2 * kDepth);
}

TEST(JsonScannerTest, skipErrorsHaveExactMessages) {
    struct Case {
        std::string_view text;
        std::string_view error;
    };
    for (const Case& c :
         {Case{"", "Unexpected end"}, Case{"   ", "Unexpected end"}, Case{"[1,", "Unexpected end"},
          Case{"[1", "Expected ',' or ']'"}, Case{"[1 2]", "Expected ',' or ']'"},
          Case{R"({"a":1)", "Expected ',' or '}'"}, Case{R"({"a":1 "b":2})", "Expected ',' or '}'"},
          Case{R"({"a" 1})", "Expected ':'"}, Case{R"({"a")", "Expected ':'"},
          Case{"{", "Expected string"}, Case{"{1:2}", "Expected string"},
          Case{R"({"a":1,})", "Expected string"}, Case{"[1,]", "Cannot skip value"},
          Case{"tru", "Cannot skip value"}, Case{"True", "Cannot skip value"},
          Case{".5", "Cannot skip value"}, Case{R"("\q")", "Unknown escape"},
          Case{"-", "Invalid number"}, Case{"[1e999]", "Number out of range"}}) {
        const SkipResult result = Skip(c.text);
        EXPECT_FALSE(result.ok) << c.text;
        EXPECT_EQ(result.error, c.error) << c.text;
    }
}

}  // namespace
}  // namespace tavrin
