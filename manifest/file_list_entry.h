#pragma once

#include <cstdint>
#include <string>

namespace tavrin {

// One file of a project as the server lists it. The sync engine compares and downloads by it;
// checking and converting the path is the engine's business, not the reader's.
struct FileListEntry {
    std::string relativePath;  // UTF-8, escapes decoded; never empty in a result list
    std::uint64_t size = 0;
    double mtime = 0.0;  // seconds since 1970-01-01 00:00 UTC, fractions kept
    std::string hash;    // as the server wrote it; may be empty
};

}  // namespace tavrin
