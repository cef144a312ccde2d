#include "manifest/json_scanner.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <system_error>
#include <vector>

namespace tavrin {
namespace json {
namespace {

// The characters the C library's isspace() knows in the classic locale; strtod skips them.
bool IsCSpace(char c) {
    return IsJsonWhitespace(c) || c == '\v' || c == '\f';
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// A 16-bit code unit as UTF-8; surrogates are written one by one as 3-byte sequences.
void AppendCodeUnit(std::string& out, unsigned unit) {
    if (unit < 0x80) {
        out.push_back(static_cast<char>(unit));
    } else if (unit < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (unit >> 6)));
        out.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xE0 | (unit >> 12)));
        out.push_back(static_cast<char>(0x80 | ((unit >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
    }
}

// The byte a one-letter escape stands for, or '\0' when the letter is not one (no one-letter
// escape stands for a NUL byte).
char SimpleEscapeValue(char escape) {
    switch (escape) {
        case '"':
        case '/':
        case '\\':
            return escape;
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return '\0';
    }
}

// Reads the four hex digits of a `\u` escape starting at `pos` and appends their code unit.
bool DecodeUnicodeEscape(FileListReader& reader, std::size_t& pos, std::string& out,
                         FileListReadError& error) {
    const char* data = reader.text.data();
    if (reader.text.size() - pos < 4) {
        reader.position = pos;
        return Fail(error, "Invalid unicode escape");
    }
    unsigned unit = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = HexValue(data[pos + i]);
        if (digit < 0) {
            reader.position = pos + i;
            return Fail(error, "Invalid unicode hex");
        }
        unit = (unit << 4) | static_cast<unsigned>(digit);
    }
    pos += 4;
    AppendCodeUnit(out, unit);
    return true;
}

// Decodes the rest of a string whose first escape starts at the reader's position. `out`
// already holds the bytes before it.
bool DecodeEscapedString(FileListReader& reader, std::string& out, FileListReadError& error) {
    const char* data = reader.text.data();
    const std::size_t size = reader.text.size();
    std::size_t pos = reader.position;
    while (true) {
        if (pos >= size) {
            reader.position = pos;
            return Fail(error, "Unterminated string");
        }
        const char c = data[pos++];
        if (c == '"') {
            reader.position = pos;
            return true;
        }
        if (c != '\\') {
            // Copy the plain run up to the next quote or backslash in one go.
            std::size_t runEnd = pos;
            while (runEnd < size && data[runEnd] != '"' && data[runEnd] != '\\') {
                ++runEnd;
            }
            out.append(data + pos - 1, runEnd - pos + 1);
            pos = runEnd;
            continue;
        }
        if (pos >= size) {
            reader.position = pos;
            return Fail(error, "Invalid escape");
        }
        const char escape = data[pos++];
        if (escape == 'u') {
            if (!DecodeUnicodeEscape(reader, pos, out, error)) {
                return false;
            }
            continue;
        }
        const char decoded = SimpleEscapeValue(escape);
        if (decoded == '\0') {
            reader.position = pos;
            return Fail(error, "Unknown escape");
        }
        out.push_back(decoded);
    }
}

// Plain decimal integers (the usual "size" and whole "mtime") are read exactly without the
// general conversion; the rounding of a 64-bit integer to double is the one strtod applies.
bool TryReadPlainInteger(const char* begin, const char* end, double& value, std::size_t& used) {
    const char* p = begin;
    std::uint64_t accumulated = 0;
    while (p < end && IsDigit(*p) && p - begin < 19) {
        accumulated = accumulated * 10 + static_cast<std::uint64_t>(*p - '0');
        ++p;
    }
    if (p == begin) {
        return false;
    }
    if (p < end && (IsDigit(*p) || *p == '.' || *p == 'e' || *p == 'E' || *p == 'x' || *p == 'X')) {
        return false;
    }
    value = static_cast<double>(accumulated);
    used = static_cast<std::size_t>(p - begin);
    return true;
}

// The conversion of the C library's strtod in the classic locale, whatever the process
// locale: optional sign, decimal or hexadecimal digits, exponent, inf and nan.
enum class NumberStatus { kOk, kNoNumber, kOutOfRange };

NumberStatus ConvertLikeStrtod(const char* begin, const char* end, double& value,
                               std::size_t& used) {
    const char* p = begin;
    while (p < end && IsCSpace(*p)) {
        ++p;
    }
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
        if (p < end && (*p == '+' || *p == '-')) {
            return NumberStatus::kNoNumber;
        }
    }
    double magnitude = 0.0;
    const char* after = nullptr;
    std::size_t plainUsed = 0;
    if (TryReadPlainInteger(p, end, magnitude, plainUsed)) {
        after = p + plainUsed;
    } else if (end - p >= 2 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
        const auto result = std::from_chars(p + 2, end, magnitude, std::chars_format::hex);
        if (result.ec == std::errc::invalid_argument) {
            magnitude = 0.0;  // "0x" without hex digits: strtod takes the "0" alone
            after = p + 1;
        } else if (result.ec == std::errc::result_out_of_range) {
            return NumberStatus::kOutOfRange;
        } else {
            after = result.ptr;
        }
    } else {
        const auto result = std::from_chars(p, end, magnitude, std::chars_format::general);
        if (result.ec == std::errc::invalid_argument) {
            return NumberStatus::kNoNumber;
        }
        if (result.ec == std::errc::result_out_of_range) {
            return NumberStatus::kOutOfRange;
        }
        after = result.ptr;
    }
    // strtod reports underflow into the subnormal range as a range error too.
    if (!std::isfinite(magnitude) ||
        (magnitude != 0.0 && magnitude < std::numeric_limits<double>::min())) {
        return NumberStatus::kOutOfRange;
    }
    value = negative ? -magnitude : magnitude;
    used = static_cast<std::size_t>(after - begin);
    return NumberStatus::kOk;
}

enum class Container : unsigned char { kObject, kArray };

// Reads `"key" :` of a skipped object, leaving the reader at the member's value.
bool SkipMemberKey(FileListReader& reader, std::string& scratch, FileListReadError& error) {
    std::string_view key;
    if (!ReadStringView(reader, scratch, key, error)) {
        return false;
    }
    SkipSpace(reader);
    if (AtEnd(reader) || Peek(reader) != ':') {
        return Fail(error, "Expected ':'");
    }
    ++reader.position;
    return true;
}

bool SkipLiteral(FileListReader& reader, std::string_view word) {
    if (reader.text.substr(reader.position, word.size()) != word) {
        return false;
    }
    reader.position += word.size();
    return true;
}

// Skips one value that is not a container; false with the error when it is none.
bool SkipScalar(FileListReader& reader, std::string& scratch, FileListReadError& error) {
    const char c = Peek(reader);
    if (c == '"') {
        std::string_view ignored;
        return ReadStringView(reader, scratch, ignored, error);
    }
    if (IsDigit(c) || c == '+' || c == '-') {
        double ignored = 0.0;
        return ReadNumber(reader, ignored, error);
    }
    if (SkipLiteral(reader, "true") || SkipLiteral(reader, "false") ||
        SkipLiteral(reader, "null")) {
        return true;
    }
    return Fail(error, "Cannot skip value");
}

}  // namespace

bool ReadStringView(FileListReader& reader, std::string& scratch, std::string_view& out,
                    FileListReadError& error) {
    if (AtEnd(reader) || Peek(reader) != '"') {
        return Fail(error, "Expected string");
    }
    const char* data = reader.text.data();
    const std::size_t size = reader.text.size();
    const std::size_t start = reader.position + 1;
    const char* begin = data + start;
    const std::size_t rest = size - start;
    const auto* quote = static_cast<const char*>(std::memchr(begin, '"', rest));
    const std::size_t scanLength =
        quote != nullptr ? static_cast<std::size_t>(quote - begin) : rest;
    const auto* backslash = static_cast<const char*>(std::memchr(begin, '\\', scanLength));
    if (backslash == nullptr) {
        if (quote == nullptr) {
            reader.position = size;
            return Fail(error, "Unterminated string");
        }
        out = std::string_view(begin, scanLength);
        reader.position = start + scanLength + 1;
        return true;
    }
    scratch.assign(begin, backslash);
    reader.position = static_cast<std::size_t>(backslash - data);
    if (!DecodeEscapedString(reader, scratch, error)) {
        return false;
    }
    out = scratch;
    return true;
}

}  // namespace json

using json::AtEnd;
using json::Fail;
using json::Peek;
using json::SkipSpace;

void SkipWhitespace(FileListReader& reader) {
    SkipSpace(reader);
}

bool ReadString(FileListReader& reader, std::string& out, FileListReadError& error) {
    std::string_view view;
    if (!json::ReadStringView(reader, out, view, error)) {
        return false;
    }
    if (view.data() != out.data()) {
        out.assign(view);
    }
    return true;
}

bool ReadNumber(FileListReader& reader, double& out, FileListReadError& error) {
    const char* begin = reader.text.data() + reader.position;
    const char* end = reader.text.data() + reader.text.size();
    double value = 0.0;
    std::size_t used = 0;
    switch (json::ConvertLikeStrtod(begin, end, value, used)) {
        case json::NumberStatus::kNoNumber:
            return Fail(error, "Invalid number");
        case json::NumberStatus::kOutOfRange:
            return Fail(error, "Number out of range");
        case json::NumberStatus::kOk:
            break;
    }
    reader.position += used;
    out = value;
    return true;
}

bool SkipValue(FileListReader& reader, FileListReadError& error) {
    using json::Container;
    std::string scratch;
    std::vector<Container> open;
    while (true) {
        // Here a value must start.
        SkipSpace(reader);
        if (AtEnd(reader)) {
            return Fail(error, "Unexpected end");
        }
        const char c = Peek(reader);
        if (c == '{' || c == '[') {
            ++reader.position;
            SkipSpace(reader);
            const char close = c == '{' ? '}' : ']';
            if (!AtEnd(reader) && Peek(reader) == close) {
                ++reader.position;
            } else {
                open.push_back(c == '{' ? Container::kObject : Container::kArray);
                if (c == '{' && !json::SkipMemberKey(reader, scratch, error)) {
                    return false;
                }
                continue;
            }
        } else if (!json::SkipScalar(reader, scratch, error)) {
            return false;
        }
        // A value has ended: close containers until one continues with a comma.
        while (true) {
            if (open.empty()) {
                return true;
            }
            SkipSpace(reader);
            const bool inObject = open.back() == Container::kObject;
            const char close = inObject ? '}' : ']';
            if (!AtEnd(reader) && Peek(reader) == close) {
                ++reader.position;
                open.pop_back();
                continue;
            }
            if (AtEnd(reader) || Peek(reader) != ',') {
                return Fail(error, inObject ? "Expected ',' or '}'" : "Expected ',' or ']'");
            }
            ++reader.position;
            SkipSpace(reader);
            if (inObject && !json::SkipMemberKey(reader, scratch, error)) {
                return false;
            }
            break;
        }
    }
}

}  // namespace tavrin
