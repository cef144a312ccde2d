#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sync/folder_handle.h"

namespace tavrin::server {

// A regular file met on a walk, in the folder the walk holds open.
struct WalkedFile {
    const NativeHandle& folder;  // open while the visitor runs
    std::string_view name;       // within `folder`
    std::string path;            // below the walk's base, '/'-separated
    std::uint64_t size = 0;
    std::int64_t mtimeNs = 0;  // nanoseconds since 1970
};

// Visits the regular files of `relativeFolder` below the open `base` ("" is the base itself),
// and with `recursive` those of every folder below it. Every step opens one name in a folder
// already open and never follows a link, so a link swapped in mid-walk leads nowhere.
// Unreadable or vanished folders are passed over. Paths are relative to `base`.
void WalkFolder(const NativeHandle& base, std::string_view relativeFolder, bool recursive,
                const std::function<void(const WalkedFile&)>& visit);

// The names of the folders directly in `folder`, links excluded.
std::vector<std::string> SubfoldersOf(const NativeHandle& folder);

// Opens the folder at '/'-separated `relative` below `base`, one element at a time.
bool OpenFolderBelow(const NativeHandle& base, std::string_view relative, NativeHandle& folder);

}  // namespace tavrin::server
