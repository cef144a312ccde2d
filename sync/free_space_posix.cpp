// Linux side of the free-space check: the descriptor the run holds says which file system it
// is on and how much of it an unprivileged writer may still fill.
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <string>

#include "sync/free_space.h"

namespace tavrin {

bool ReadVolumeSpace(const NativeHandle& folder, std::wstring_view /*folderPath*/,
                     VolumeSpace& space) {
    const int descriptor = static_cast<int>(folder.Get());
    struct stat status {};
    struct statvfs volume {};
    if (fstat(descriptor, &status) != 0 || fstatvfs(descriptor, &volume) != 0) {
        return false;
    }
    space.volume = std::to_string(static_cast<unsigned long long>(status.st_dev));
    // f_bavail, not f_bfree: the blocks kept for root are not ours to fill.
    space.freeBytes = static_cast<std::uint64_t>(volume.f_bavail) * volume.f_frsize;
    return true;
}

}  // namespace tavrin
