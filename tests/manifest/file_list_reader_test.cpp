#include "manifest/file_list_reader.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <string>
#include <vector>

namespace tavrin {
namespace {

struct ListResult {
    bool ok = false;
    std::vector<FileListEntry> entries;
    std::string error;
    std::size_t position = 0;
};

ListResult ReadList(std::string_view text) {
    ListResult result;
    FileListReader reader{text, 0};
    FileListReadError error;
    result.ok = ReadFileList(reader, result.entries, error);
    result.error = error.message;
    result.position = reader.position;
    return result;
}

std::string ReadListError(std::string_view text) {
    const ListResult result = ReadList(text);
    EXPECT_FALSE(result.ok) << "expected a failure for: " << text;
    return result.error;
}

FileListEntry ReadSingle(std::string_view object) {
    const std::string text = "[" + std::string(object) + "]";
    const ListResult result = ReadList(text);
    EXPECT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.entries.size(), 1U);
    return result.entries.empty() ? FileListEntry{} : result.entries.front();
}

std::string ReadStringError(std::string_view text) {
    FileListReader reader{text, 0};
    std::string out;
    FileListReadError error;
    EXPECT_FALSE(ReadString(reader, out, error)) << "expected a failure for: " << text;
    return error.message;
}

std::string DecodeString(std::string_view text) {
    FileListReader reader{text, 0};
    std::string out;
    FileListReadError error;
    EXPECT_TRUE(ReadString(reader, out, error)) << error.message;
    return out;
}

// Edge cases of the format.

TEST(FileListReaderTest, emptyArrayGivesEmptyList) {
    for (const char* text : {"[]", " [ ] ", "\t\r\n[\n\t ]\r\n", "[ \t\r\n]"}) {
        const ListResult result = ReadList(text);
        EXPECT_TRUE(result.ok) << text;
        EXPECT_TRUE(result.entries.empty()) << text;
    }
}

TEST(FileListReaderTest, emptyInputFailsWithExpectedBracket) {
    EXPECT_EQ(ReadListError(""), "Expected '['");
    EXPECT_EQ(ReadListError("   "), "Expected '['");
    EXPECT_EQ(ReadListError("{}"), "Expected '['");
}

TEST(FileListReaderTest, arrayWithOneEmptyObjectGivesEmptyList) {
    const ListResult result = ReadList("[{}]");
    EXPECT_TRUE(result.ok);
    EXPECT_TRUE(result.entries.empty());
    const ListResult spaced = ReadList("[ { } ]");
    EXPECT_TRUE(spaced.ok);
    EXPECT_TRUE(spaced.entries.empty());
}

TEST(FileListReaderTest, elementsStartFreshAndNothingCarriesOver) {
    const ListResult result = ReadList(R"([{"relative_path":"a"},{"relative_path":"b","size":5}])");
    ASSERT_TRUE(result.ok) << result.error;
    ASSERT_EQ(result.entries.size(), 2U);
    EXPECT_EQ(result.entries[0].relativePath, "a");
    EXPECT_EQ(result.entries[0].size, 0U);
    EXPECT_EQ(result.entries[1].relativePath, "b");
    EXPECT_EQ(result.entries[1].size, 5U);

    const ListResult reverse =
        ReadList(R"([{"relative_path":"b","size":5,"mtime":7,"hash":"ab"},{"relative_path":"a"}])");
    ASSERT_TRUE(reverse.ok) << reverse.error;
    ASSERT_EQ(reverse.entries.size(), 2U);
    EXPECT_EQ(reverse.entries[1].size, 0U);
    EXPECT_EQ(reverse.entries[1].mtime, 0.0);
    EXPECT_EQ(reverse.entries[1].hash, "");
}

TEST(FileListReaderTest, fractionalSizeMustBeAnInteger) {
    EXPECT_EQ(ReadListError(R"([{"relative_path":"a","size":1.5}])"),
              "File size must be an integer");
}

TEST(FileListReaderTest, negativeSizeIsOutOfRange) {
    EXPECT_EQ(ReadListError(R"([{"relative_path":"a","size":-1}])"), "File size out of range");
    EXPECT_EQ(ReadListError(R"([{"size":-1.5}])"), "File size out of range");
}

TEST(FileListReaderTest, fractionalMtimeIsAccepted) {
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","mtime":1.5})").mtime, 1.5);
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","mtime":1700000000.123456})").mtime,
              1700000000.123456);
}

TEST(FileListReaderTest, mtimeAfterTheYear3000IsOutOfRange) {
    EXPECT_EQ(ReadListError(R"([{"relative_path":"a","mtime":32503680001}])"),
              "File mtime out of range");
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","mtime":32503680000})").mtime, 32503680000.0);
    EXPECT_EQ(ReadListError(R"([{"relative_path":"a","mtime":-0.5}])"), "File mtime out of range");
}

TEST(FileListReaderTest, unicodeEscapeGivesUtf8Bytes) {
    EXPECT_EQ(ReadSingle(R"({"relative_path":"caf\u00e9"})").relativePath, "caf\xC3\xA9");
    EXPECT_EQ(DecodeString(R"("\u00E9")"), "\xC3\xA9");
    EXPECT_EQ(DecodeString(R"("\u0041")"), "A");
    EXPECT_EQ(DecodeString(R"("\u0000")"), std::string(1, '\0'));
    EXPECT_EQ(DecodeString(R"("\u07ff\u0800\uffff")"), "\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
}

TEST(FileListReaderTest, surrogatePairIsNotCombined) {
    EXPECT_EQ(DecodeString(R"("\uD83D\uDE00")"), "\xED\xA0\xBD\xED\xB8\x80");
}

TEST(FileListReaderTest, unknownKeyWithNestedValueIsSkipped) {
    const FileListEntry entry =
        ReadSingle(R"({"extra":[1,{"x":null}],"relative_path":"after/skip.txt"})");
    EXPECT_EQ(entry.relativePath, "after/skip.txt");
    const FileListEntry deeper = ReadSingle(
        R"({"a":{"b":[true,false,null,"s\"x",-2.5e3,{}]},"c":[],"d":{},"relative_path":"p"})");
    EXPECT_EQ(deeper.relativePath, "p");
}

TEST(FileListReaderTest, skippedValueStartingWithDecimalPointCannotBeSkipped) {
    EXPECT_EQ(ReadListError(R"([{"extra":.5,"relative_path":"a"}])"), "Cannot skip value");
    EXPECT_EQ(ReadListError(R"([{"relative_path":"a","size":.5}])"),
              "File size must be an integer");
}

TEST(FileListReaderTest, objectsWithoutCommaFail) {
    EXPECT_EQ(ReadListError(R"([{"relative_path":"a"}{"relative_path":"b"}])"),
              "Expected ',' or ']'");
}

TEST(FileListReaderTest, textAfterClosingBracketIsIgnored) {
    const ListResult result = ReadList(R"([{"relative_path":"a"}] trailing {garbage)");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.entries.size(), 1U);
    EXPECT_EQ(result.position, std::string_view(R"([{"relative_path":"a"}])").size());
}

// Every field and the keys.

TEST(FileListReaderTest, readsAllFieldsInAnyOrder) {
    const FileListEntry entry =
        ReadSingle(R"({ "hash" : "ABCdef01", "mtime" : 1699999999.5 , "size":123456789012,)"
                   R"( "relative_path" : "content/cars/x.kn5" })");
    EXPECT_EQ(entry.relativePath, "content/cars/x.kn5");
    EXPECT_EQ(entry.size, 123456789012ULL);
    EXPECT_EQ(entry.mtime, 1699999999.5);
    EXPECT_EQ(entry.hash, "ABCdef01");
}

TEST(FileListReaderTest, repeatedKeyOverwrites) {
    const FileListEntry entry =
        ReadSingle(R"({"relative_path":"a","size":1,"size":2,"relative_path":"b"})");
    EXPECT_EQ(entry.relativePath, "b");
    EXPECT_EQ(entry.size, 2U);
}

TEST(FileListReaderTest, elementWithEmptyPathIsDropped) {
    const ListResult result =
        ReadList(R"([{"relative_path":"","size":3},{"size":4},{"relative_path":"x"}])");
    ASSERT_TRUE(result.ok);
    ASSERT_EQ(result.entries.size(), 1U);
    EXPECT_EQ(result.entries[0].relativePath, "x");
}

TEST(FileListReaderTest, keysAreComparedAfterDecodingAndCaseMatters) {
    EXPECT_EQ(ReadSingle(R"({"relative\u005fpath":"a"})").relativePath, "a");
    const ListResult result = ReadList(R"([{"Relative_Path":"a"}])");
    EXPECT_TRUE(result.ok);
    EXPECT_TRUE(result.entries.empty());
}

TEST(FileListReaderTest, wrongKindOfValueFailsWithTheStepError) {
    EXPECT_EQ(ReadListError(R"([{"relative_path":5}])"), "Expected string");
    EXPECT_EQ(ReadListError(R"([{"hash":null}])"), "Expected string");
    EXPECT_EQ(ReadListError(R"([{"size":"5"}])"), "Invalid number");
    EXPECT_EQ(ReadListError(R"([{"mtime":true}])"), "Invalid number");
}

TEST(FileListReaderTest, sizeRangeAndConversion) {
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":9007199254740993})").size,
              9007199254740992ULL);  // rounded to the nearest double, as strtod does
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":9223372036854775808})").size,
              9223372036854775808ULL);
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":18446744073709549568})").size,
              18446744073709549568ULL);
    // 2^64 passes the range test and wraps to 0 in the conversion.
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":18446744073709551616})").size, 0U);
    EXPECT_EQ(ReadListError(R"([{"size":18446744073709555712}])"), "File size out of range");
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":-0})").size, 0U);
}

TEST(FileListReaderTest, numbersAreReadAsStrtodReadsThem) {
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":+7})").size, 7U);
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":0x10})").size, 16U);
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":0X1p4})").size, 16U);
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":1e3})").size, 1000U);
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":2.5E1})").size, 25U);
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":5.})").size, 5U);
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","size":007})").size, 7U);
    EXPECT_EQ(ReadSingle(R"({"relative_path":"a","mtime":.25})").mtime, 0.25);
    // "0x" without digits: strtod takes the 0 and the x is left over.
    EXPECT_EQ(ReadListError(R"([{"size":0x})"), "Expected ',' or '}'");
    // "1e" reads as 1, leaving the e behind.
    EXPECT_EQ(ReadListError(R"([{"size":1e})"), "Expected ',' or '}'");
}

TEST(FileListReaderTest, nonFiniteAndOverflowingNumbersAreOutOfRange) {
    for (const char* value : {"1e400", "-1e400", "inf", "-Infinity", "nan", "NAN", "1e-400"}) {
        const std::string text = std::string(R"([{"size":)") + value + "}]";
        EXPECT_EQ(ReadListError(text), "Number out of range") << value;
    }
}

TEST(FileListReaderTest, missingNumberIsInvalid) {
    for (const char* value : {"", "-", "+", "--1", "+-1", ".", "e5", "x", "}"}) {
        const std::string text = std::string(R"([{"size":)") + value + "}]";
        EXPECT_EQ(ReadListError(text), "Invalid number") << value;
    }
}

// Each message of the reader's steps.

TEST(FileListReaderTest, structuralErrors) {
    EXPECT_EQ(ReadListError("[1]"), "Expected '{'");
    EXPECT_EQ(ReadListError("["), "Expected '{'");
    EXPECT_EQ(ReadListError("[{},]"), "Expected '{'");
    EXPECT_EQ(ReadListError("[{}"), "Expected ',' or ']'");
    EXPECT_EQ(ReadListError("[{} x"), "Expected ',' or ']'");
    EXPECT_EQ(ReadListError(R"([{"a" 1}])"), "Expected ':'");
    EXPECT_EQ(ReadListError(R"([{"a")"), "Expected ':'");
    EXPECT_EQ(ReadListError(R"([{"size":1 "hash":""}])"), "Expected ',' or '}'");
    EXPECT_EQ(ReadListError(R"([{"size":1)"), "Expected ',' or '}'");
    EXPECT_EQ(ReadListError(R"([{a:1}])"), "Expected string");
    EXPECT_EQ(ReadListError(R"([{"size":1,}])"), "Expected string");
    EXPECT_EQ(ReadListError(R"([{)"), "Expected string");
}

TEST(FileListReaderTest, stringErrors) {
    EXPECT_EQ(ReadStringError(""), "Expected string");
    EXPECT_EQ(ReadStringError("x"), "Expected string");
    EXPECT_EQ(ReadStringError("\""), "Unterminated string");
    EXPECT_EQ(ReadStringError("\"abc"), "Unterminated string");
    EXPECT_EQ(ReadStringError("\"a\\n"), "Unterminated string");
    EXPECT_EQ(ReadStringError("\"a\\u00e9"), "Unterminated string");
    EXPECT_EQ(ReadStringError("\"a\\"), "Invalid escape");
    EXPECT_EQ(ReadStringError("\"\\u12"), "Invalid unicode escape");
    EXPECT_EQ(ReadStringError("\"\\u12\""), "Invalid unicode escape");
    EXPECT_EQ(ReadStringError("\"\\u12\"x"), "Invalid unicode hex");
    EXPECT_EQ(ReadStringError("\"\\u12g4\""), "Invalid unicode hex");
    EXPECT_EQ(ReadStringError("\"\\x\""), "Unknown escape");
    EXPECT_EQ(ReadStringError("\"\\U0041\""), "Unknown escape");
    EXPECT_EQ(ReadStringError("\"\\'\""), "Unknown escape");
}

TEST(FileListReaderTest, simpleEscapesAndRawBytes) {
    EXPECT_EQ(DecodeString(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
    // Control bytes and invalid UTF-8 pass through unchanged.
    EXPECT_EQ(DecodeString("\"a\tb\x01\xFF\xC3\""), "a\tb\x01\xFF\xC3");
    EXPECT_EQ(DecodeString(R"("")"), "");
    EXPECT_EQ(DecodeString(R"("pre\nmid\tpost")"), "pre\nmid\tpost");
}

TEST(FileListReaderTest, skipValueErrors) {
    EXPECT_EQ(ReadListError(R"([{"x":)"), "Unexpected end");
    EXPECT_EQ(ReadListError(R"([{"x":  )"), "Unexpected end");
    EXPECT_EQ(ReadListError(R"([{"x":[1,)"), "Unexpected end");
    EXPECT_EQ(ReadListError(R"([{"x":tru}])"), "Cannot skip value");
    EXPECT_EQ(ReadListError(R"([{"x":nul}])"), "Cannot skip value");
    EXPECT_EQ(ReadListError(R"([{"x":True}])"), "Cannot skip value");
    EXPECT_EQ(ReadListError(R"([{"x":[1 2]}])"), "Expected ',' or ']'");
    EXPECT_EQ(ReadListError(R"([{"x":{"a":1 "b":2}}])"), "Expected ',' or '}'");
    EXPECT_EQ(ReadListError(R"([{"x":{"a" 1}}])"), "Expected ':'");
    EXPECT_EQ(ReadListError(R"([{"x":{1:2}}])"), "Expected string");
    EXPECT_EQ(ReadListError(R"([{"x":{"a":1,}}])"), "Expected string");
    EXPECT_EQ(ReadListError(R"([{"x":[1,]}])"), "Cannot skip value");
    EXPECT_EQ(ReadListError(R"([{"x":"\q"}])"), "Unknown escape");
    EXPECT_EQ(ReadListError(R"([{"x":-}])"), "Invalid number");
}

TEST(FileListReaderTest, deeplyNestedSkippedValueDoesNotExhaustTheStack) {
    constexpr std::size_t kDepth = 1000000;
    std::string text = R"([{"deep":)";
    for (std::size_t i = 0; i < kDepth; ++i) {
        text += (i % 2 == 0) ? "[" : "{\"k\":";
    }
    text += "null";
    for (std::size_t i = kDepth; i-- > 0;) {
        text += (i % 2 == 0) ? "]" : "}";
    }
    text += R"(,"relative_path":"after/deep"}])";
    const ListResult result = ReadList(text);
    ASSERT_TRUE(result.ok) << result.error;
    ASSERT_EQ(result.entries.size(), 1U);
    EXPECT_EQ(result.entries[0].relativePath, "after/deep");

    // The same depth left unclosed fails cleanly as well.
    const std::string unclosed = R"([{"deep":)" + std::string(kDepth, '[');
    EXPECT_EQ(ReadListError(unclosed), "Unexpected end");
}

TEST(FileListReaderTest, numbersIgnoreTheProcessLocale) {
    const char* previous = std::setlocale(LC_ALL, nullptr);
    const std::string saved = previous != nullptr ? previous : "C";
    const char* german = nullptr;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "German_Germany.1252", "German"}) {
        german = std::setlocale(LC_ALL, name);
        if (german != nullptr) {
            break;
        }
    }
    if (german == nullptr || std::localeconv()->decimal_point[0] != ',') {
        std::setlocale(LC_ALL, saved.c_str());
        GTEST_SKIP() << "no locale with a decimal comma is installed (scripts/install-deps.sh "
                        "generates de_DE.UTF-8)";
    }
    const ListResult result =
        ReadList(R"([{"relative_path":"a","mtime":1.25,"size":2.5e1,"x":3.75}])");
    std::setlocale(LC_ALL, saved.c_str());
    ASSERT_TRUE(result.ok) << result.error;
    ASSERT_EQ(result.entries.size(), 1U);
    EXPECT_EQ(result.entries[0].mtime, 1.25);
    EXPECT_EQ(result.entries[0].size, 25U);
}

// The plain project list.

std::vector<std::string> ReadStrings(std::string_view text, bool expectOk = true,
                                     std::string* errorOut = nullptr) {
    FileListReader reader{text, 0};
    std::vector<std::string> strings;
    FileListReadError error;
    const bool ok = ReadStringArray(reader, strings, error);
    EXPECT_EQ(ok, expectOk) << text << ": " << error.message;
    if (errorOut != nullptr) {
        *errorOut = error.message;
    }
    return strings;
}

TEST(ReadStringArrayTest, readsStringsInOrderWithEmptyOnesKept) {
    EXPECT_EQ(ReadStrings(R"([ "b" , "", "a\u00e9" ,"  x "])"),
              (std::vector<std::string>{"b", "", "a\xC3\xA9", "  x "}));
    EXPECT_TRUE(ReadStrings(" [ ] ").empty());
    EXPECT_EQ(ReadStrings(R"(["a"] ignored)"), (std::vector<std::string>{"a"}));
}

TEST(ReadStringArrayTest, errors) {
    std::string error;
    ReadStrings("", false, &error);
    EXPECT_EQ(error, "Expected '['");
    ReadStrings("[1]", false, &error);
    EXPECT_EQ(error, "Expected string");
    ReadStrings(R"(["a" "b"])", false, &error);
    EXPECT_EQ(error, "Expected ',' or ']'");
    ReadStrings(R"(["a",])", false, &error);
    EXPECT_EQ(error, "Expected string");
    ReadStrings(R"(["a)", false, &error);
    EXPECT_EQ(error, "Unterminated string");
    ReadStrings(R"(["a")", false, &error);
    EXPECT_EQ(error, "Expected ',' or ']'");
}

TEST(FileListReaderTest, readsAlongListWithEscapes) {
    std::string text = "[";
    for (int i = 0; i < 1000; ++i) {
        text += (i > 0 ? "," : "");
        text += R"({"relative_path":"dir\/f)" + std::to_string(i) + R"(.txt","size":)" +
                std::to_string(i) + R"(,"mtime":)" + std::to_string(i) + R"(.5,"hash":"h"})";
    }
    text += "]";
    const ListResult result = ReadList(text);
    ASSERT_TRUE(result.ok) << result.error;
    ASSERT_EQ(result.entries.size(), 1000U);
    EXPECT_EQ(result.entries[999].relativePath, "dir/f999.txt");
    EXPECT_EQ(result.entries[999].size, 999U);
    EXPECT_EQ(result.entries[999].mtime, 999.5);
    EXPECT_EQ(result.entries[999].hash, "h");
}

}  // namespace
}  // namespace tavrin

#include "manifest/file_list_writer.h"

namespace tavrin {
namespace {

TEST(FileListWriterTest, writtenListReadsBackTheSame) {
    const std::vector<FileListEntry> entries{
        {"content/cars/a b/\"quoted\"\\x.kn5", 18446744073709549568ULL, 1700000000.123456, "ab"},
        {"caf\xC3\xA9/\x01tab\t.txt", 0, 0.0, ""},
        {"z", 5, 32503680000.0, std::string(64, 'f')}};
    const std::string json = WriteFileListJson(entries);
    FileListReader reader{json, 0};
    std::vector<FileListEntry> read;
    FileListReadError error;
    ASSERT_TRUE(ReadFileList(reader, read, error)) << error.message << "\n" << json;
    ASSERT_EQ(read.size(), entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(read[i].relativePath, entries[i].relativePath);
        EXPECT_EQ(read[i].size, entries[i].size);
        EXPECT_EQ(read[i].mtime, entries[i].mtime);
        EXPECT_EQ(read[i].hash, entries[i].hash);
    }
    EXPECT_EQ(WriteFileListJson({}), "[]");
}

}  // namespace
}  // namespace tavrin
