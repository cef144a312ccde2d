#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "manifest/file_list_entry.h"

namespace tavrin {

// A strict one-pass reader over the UTF-8 bytes of a file list. The text is owned by the
// caller and must outlive the reader; every step advances `position`.
struct FileListReader {
    std::string_view text;
    std::size_t position = 0;
};

// The message of the first error. Messages are fixed English texts that callers place inside
// a translated message.
struct FileListReadError {
    std::string message;
};

// Reads the top-level array of file objects. Elements without a path are read and dropped.
// Text after the closing bracket is not looked at. On failure `entries` holds a partial
// result that the caller discards.
bool ReadFileList(FileListReader& reader, std::vector<FileListEntry>& entries,
                  FileListReadError& error);

// Reads a top-level array of strings (the plain project list), empty strings included.
bool ReadStringArray(FileListReader& reader, std::vector<std::string>& strings,
                     FileListReadError& error);

// The reading steps, exposed for tests and fuzzing.
void SkipWhitespace(FileListReader& reader);
bool ReadFileObject(FileListReader& reader, FileListEntry& entry, FileListReadError& error);
bool ReadString(FileListReader& reader, std::string& out, FileListReadError& error);
bool ReadNumber(FileListReader& reader, double& out, FileListReadError& error);
// Skips any JSON value without recursing on the C++ stack, so nesting depth is unlimited.
bool SkipValue(FileListReader& reader, FileListReadError& error);

}  // namespace tavrin
