#include <sys/statvfs.h>

#include "tests/support/small_volume.h"

namespace tavrin::test {

bool ReadFolderSpace(const std::filesystem::path& folder, std::uint64_t& available,
                     std::uint64_t& capacity) {
    struct statvfs volume {};
    if (statvfs(folder.c_str(), &volume) != 0) {
        return false;
    }
    available = static_cast<std::uint64_t>(volume.f_bavail) * volume.f_frsize;
    capacity = static_cast<std::uint64_t>(volume.f_blocks) * volume.f_frsize;
    return true;
}

}  // namespace tavrin::test
