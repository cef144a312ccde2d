#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "manifest/file_list_entry.h"

namespace tavrin {

// The JSON form of a file list, as servers publish it and ReadFileList reads it back:
// an array of {"relative_path", "size", "mtime", "hash"} objects. Times keep their fractions
// (microseconds); control characters and quotes in paths are escaped.
std::string WriteFileListJson(const std::vector<FileListEntry>& entries);

// Appends one entry of that array to `out` (a comma first unless `first`), for writers that
// keep their files in another form than FileListEntry.
void AppendFileListEntryJson(std::string& out, std::string_view relativePath, std::uint64_t size,
                             double mtime, std::string_view hash, bool first);

}  // namespace tavrin
