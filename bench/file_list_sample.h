#pragma once

#include <cstddef>
#include <string>

namespace tavrin::bench {

// A deterministic file list shaped like a large mod collection: nested content folders, some
// escaped characters, fractional modification times and 64-digit hashes.
std::string MakeFileListJson(std::size_t entries);

}  // namespace tavrin::bench
