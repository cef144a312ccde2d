#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace tavrin::test {

// A small file system of the test's own (a tmpfs of a few MiB that tests/support/
// small_volumes.sh mounts before the suite), named by TAVRIN_SMALL_VOLUMES and `name`; under
// Wine reached through Z:. False with the reason when there is none, as where the suite could
// not mount one.
bool FindSmallVolume(const std::string& name, std::filesystem::path& volume, std::string& why);

// The space free for this user on the file system of `folder`, and its size, asked of the folder
// itself (statvfs; under Windows of a handle to it, since Wine answers GetDiskFreeSpaceExW for
// the drive's root).
bool ReadFolderSpace(const std::filesystem::path& folder, std::uint64_t& available,
                     std::uint64_t& capacity);

}  // namespace tavrin::test
