#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "manifest/file_list_reader.h"

// The JSON token steps the file-list reader is built from, working on the reader's cursor.
// Every step either advances `reader.position` past what it read and returns true, or sets
// the error's message and returns false. The reading steps declared in file_list_reader.h
// (SkipWhitespace, ReadString, ReadNumber, SkipValue) belong to the scanner as well.
namespace tavrin::json {

// The per-character helpers run for every byte of a list, so they live here as inline
// functions rather than behind a call into the scanner's translation unit.

inline bool Fail(FileListReadError& error, const char* message) {
    error.message = message;
    return false;
}

inline bool AtEnd(const FileListReader& reader) {
    return reader.position >= reader.text.size();
}

// The byte at the cursor; only valid when !AtEnd(reader).
inline char Peek(const FileListReader& reader) {
    return reader.text[reader.position];
}

inline bool IsJsonWhitespace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

inline bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// The same as SkipWhitespace, but inlined into the scanning loops.
inline void SkipSpace(FileListReader& reader) {
    const std::size_t size = reader.text.size();
    while (reader.position < size && IsJsonWhitespace(reader.text[reader.position])) {
        ++reader.position;
    }
}

// Reads a string and gives its decoded bytes as a view: into the input when the string holds
// no escape (the common case, no copy), else into `scratch`, which is overwritten. `\uXXXX`
// escapes become UTF-8 one code unit at a time, so a surrogate pair gives two 3-byte
// sequences. The view is valid until the input or `scratch` changes.
bool ReadStringView(FileListReader& reader, std::string& scratch, std::string_view& out,
                    FileListReadError& error);

}  // namespace tavrin::json
