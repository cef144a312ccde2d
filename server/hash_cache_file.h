#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "server/project_catalog.h"

namespace tavrin::server {

// The hash cache, "hashes.txt" in the catalog's state folder: one line per hashed file of
// every project, with the project and the path (both percent-encoded), the size, the time in
// nanoseconds and the hex digest, separated by tabs. It only saves work, so a damaged line
// costs one hash, nothing more.

// One remembered file: its project, its path in the project, and a CatalogFile with the size,
// time and digest (marked hashed; its other fields as a new one has them).
using HashCacheVisitor = std::function<void(const std::string& project, const std::string& path,
                                            const CatalogFile& file)>;

// Calls `visit` for each intact line of the cache in `stateFolder`, in the file's order;
// nothing when there is no cache.
void ReadHashCacheFile(const std::filesystem::path& stateFolder, const HashCacheVisitor& visit);

// Replaces the cache in `stateFolder` (which must exist) by the hashed files of `projects`;
// false when it cannot be written.
bool WriteHashCacheFile(const std::filesystem::path& stateFolder,
                        const std::map<std::string, std::shared_ptr<const Project>>& projects);

// The cache's text for `projects`, and the reading of such a text, apart from the file.
std::string HashCacheText(const std::map<std::string, std::shared_ptr<const Project>>& projects);
void ParseHashCacheText(std::string_view text, const HashCacheVisitor& visit);

// The 32 bytes of a SHA-256 digest from its 64 hex digits; false when `hex` is no digest.
bool DigestFromHex(std::string_view hex, std::array<std::uint8_t, 32>& digest);

}  // namespace tavrin::server
