#pragma once

#include <string>
#include <vector>

#include "manifest/file_list_entry.h"

namespace tavrin {

// The JSON form of a file list, as servers publish it and ReadFileList reads it back:
// an array of {"relative_path", "size", "mtime", "hash"} objects. Times keep their fractions
// (microseconds); control characters and quotes in paths are escaped.
std::string WriteFileListJson(const std::vector<FileListEntry>& entries);

}  // namespace tavrin
