#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sync/folder_handle.h"
#include "sync/sync_work_item.h"
#include "sync/target_tree.h"

namespace tavrin {

// The volume an open folder lies on, and the space on it this user may still fill.
struct VolumeSpace {
    std::string volume;  // the same text for every folder of one volume
    std::uint64_t freeBytes = 0;
};

// Reads the volume of `folder` (whose path is `folderPath`): statvfs on the descriptor on
// Linux, GetDiskFreeSpaceExW on the path on Windows. False when the system cannot say.
bool ReadVolumeSpace(const NativeHandle& folder, std::wstring_view folderPath, VolumeSpace& space);

// What the downloads of a run will write on one volume: every file's size, and the largest
// once more, since its temporary file and the file it replaces stand side by side until the
// move.
struct VolumeNeed {
    std::wstring folder;  // the game folder, or the highest folder of the run on that volume
    std::uint64_t bytes = 0;
    std::uint64_t largest = 0;
    std::uint64_t freeBytes = 0;

    std::uint64_t Needed() const { return bytes + largest; }
};

// The downloads' needs per volume; each file counts on the volume of its nearest folder that
// exists, since the folders a download makes land there too. A folder whose volume the system
// cannot tell is left out: its writes still report their own failure.
std::vector<VolumeNeed> GatherVolumeNeeds(TargetTree& tree, const std::vector<SyncWorkItem>& items);

// False with "error.not_enough_space" (the folder, the space needed, the space free) when the
// downloads cannot fit on one of their volumes, before anything is written.
bool CheckFreeSpace(TargetTree& tree, const std::vector<SyncWorkItem>& items,
                    std::wstring& errorText);

}  // namespace tavrin
