#include "manifest/file_list_reader.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "manifest/json_scanner.h"

namespace tavrin {
namespace {

using json::AtEnd;
using json::Fail;
using json::Peek;
using json::ReadStringView;
using json::SkipSpace;

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;
constexpr double kLatestMtime = 32503680000.0;  // 3000-01-01 00:00 UTC

bool ReadSize(FileListReader& reader, std::uint64_t& size, FileListReadError& error) {
    double x = 0.0;
    if (!ReadNumber(reader, x, error)) {
        return false;
    }
    if (!std::isfinite(x) || x < 0.0 || x > kTwoTo64) {
        return Fail(error, "File size out of range");
    }
    if (std::floor(x) != x) {
        return Fail(error, "File size must be an integer");
    }
    // 2^64 itself passes the range test and wraps to 0 here.
    if (x >= kTwoTo63) {
        size = static_cast<std::uint64_t>(x - kTwoTo63) + (std::uint64_t{1} << 63);
    } else {
        size = static_cast<std::uint64_t>(x);
    }
    return true;
}

bool ReadMtime(FileListReader& reader, double& mtime, FileListReadError& error) {
    double x = 0.0;
    if (!ReadNumber(reader, x, error)) {
        return false;
    }
    if (!std::isfinite(x) || x < 0.0 || x > kLatestMtime) {
        return Fail(error, "File mtime out of range");
    }
    mtime = x;
    return true;
}

bool ReadMemberValue(FileListReader& reader, std::string_view key, FileListEntry& entry,
                     std::string& scratch, FileListReadError& error) {
    std::string_view text;
    if (key == "relative_path" || key == "hash") {
        if (!ReadStringView(reader, scratch, text, error)) {
            return false;
        }
        (key == "hash" ? entry.hash : entry.relativePath).assign(text);
        return true;
    }
    if (key == "size") {
        return ReadSize(reader, entry.size, error);
    }
    if (key == "mtime") {
        return ReadMtime(reader, entry.mtime, error);
    }
    return SkipValue(reader, error);
}

bool ReadFileObjectWith(FileListReader& reader, FileListEntry& entry, std::string& keyScratch,
                        std::string& valueScratch, FileListReadError& error) {
    SkipSpace(reader);
    if (AtEnd(reader) || Peek(reader) != '{') {
        return Fail(error, "Expected '{'");
    }
    ++reader.position;
    SkipSpace(reader);
    if (!AtEnd(reader) && Peek(reader) == '}') {
        ++reader.position;
        return true;
    }
    std::string_view key;
    if (!ReadStringView(reader, keyScratch, key, error)) {
        return false;
    }
    while (true) {
        SkipSpace(reader);
        if (AtEnd(reader) || Peek(reader) != ':') {
            return Fail(error, "Expected ':'");
        }
        ++reader.position;
        SkipSpace(reader);
        if (!ReadMemberValue(reader, key, entry, valueScratch, error)) {
            return false;
        }
        SkipSpace(reader);
        if (!AtEnd(reader) && Peek(reader) == '}') {
            ++reader.position;
            return true;
        }
        if (AtEnd(reader) || Peek(reader) != ',') {
            return Fail(error, "Expected ',' or '}'");
        }
        ++reader.position;
        SkipSpace(reader);
        if (!ReadStringView(reader, keyScratch, key, error)) {
            return false;
        }
    }
}

// Reads `[` and the whitespace after it; `hasElements` is false when `]` follows at once.
bool OpenTopLevelArray(FileListReader& reader, bool& hasElements, FileListReadError& error) {
    SkipSpace(reader);
    if (AtEnd(reader) || Peek(reader) != '[') {
        return Fail(error, "Expected '['");
    }
    ++reader.position;
    SkipSpace(reader);
    hasElements = AtEnd(reader) || Peek(reader) != ']';
    if (!hasElements) {
        ++reader.position;
    }
    return true;
}

// After an element: true in `more` after a comma (and its whitespace), false after `]`.
bool ContinueArray(FileListReader& reader, bool& more, FileListReadError& error) {
    SkipSpace(reader);
    if (!AtEnd(reader) && Peek(reader) == ']') {
        ++reader.position;
        more = false;
        return true;
    }
    if (AtEnd(reader) || Peek(reader) != ',') {
        return Fail(error, "Expected ',' or ']'");
    }
    ++reader.position;
    SkipSpace(reader);
    more = true;
    return true;
}

}  // namespace

bool ReadFileObject(FileListReader& reader, FileListEntry& entry, FileListReadError& error) {
    std::string keyScratch;
    std::string valueScratch;
    return ReadFileObjectWith(reader, entry, keyScratch, valueScratch, error);
}

bool ReadFileList(FileListReader& reader, std::vector<FileListEntry>& entries,
                  FileListReadError& error) {
    entries.clear();
    bool more = false;
    if (!OpenTopLevelArray(reader, more, error)) {
        return false;
    }
    std::string keyScratch;
    std::string valueScratch;
    while (more) {
        FileListEntry entry;
        if (!ReadFileObjectWith(reader, entry, keyScratch, valueScratch, error)) {
            return false;
        }
        if (!entry.relativePath.empty()) {
            entries.push_back(std::move(entry));
        }
        if (!ContinueArray(reader, more, error)) {
            return false;
        }
    }
    return true;
}

bool ReadStringArray(FileListReader& reader, std::vector<std::string>& strings,
                     FileListReadError& error) {
    strings.clear();
    bool more = false;
    if (!OpenTopLevelArray(reader, more, error)) {
        return false;
    }
    std::string scratch;
    while (more) {
        std::string_view text;
        if (!ReadStringView(reader, scratch, text, error)) {
            return false;
        }
        strings.emplace_back(text);
        if (!ContinueArray(reader, more, error)) {
            return false;
        }
    }
    return true;
}

}  // namespace tavrin
