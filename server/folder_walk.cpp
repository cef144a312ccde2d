#include "server/folder_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace tavrin::server {
namespace {

// Calls `visit` with each entry of an open folder but "." and "..".
void ForEachEntry(const NativeHandle& folder, const std::function<void(const dirent&)>& visit) {
    // readdir needs a descriptor of its own: closedir closes it.
    const int listing = ::dup(static_cast<int>(folder.Get()));
    DIR* entries = listing < 0 ? nullptr : ::fdopendir(listing);
    if (entries == nullptr) {
        if (listing >= 0) {
            ::close(listing);
        }
        return;
    }
    while (const dirent* entry = ::readdir(entries)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            visit(*entry);
        }
    }
    ::closedir(entries);
}

// What stands at a name in an open folder, not following a link; false when it is gone.
bool StatusAt(const NativeHandle& folder, const char* name, struct stat& info) {
    return ::fstatat(static_cast<int>(folder.Get()), name, &info, AT_SYMLINK_NOFOLLOW) == 0;
}

void WalkOpenFolder(const NativeHandle& folder, const std::string& path, bool recursive,
                    const std::function<void(const WalkedFile&)>& visit) {
    std::vector<std::string> subfolders;
    ForEachEntry(folder, [&](const dirent& entry) {
        const std::string_view name = entry.d_name;
        if (entry.d_type == DT_DIR) {
            if (recursive) {
                subfolders.emplace_back(name);
            }
            return;
        }
        struct stat info {};
        if ((entry.d_type != DT_REG && entry.d_type != DT_UNKNOWN) ||
            !StatusAt(folder, entry.d_name, info)) {
            return;  // links, devices, sockets: never listed
        }
        if (S_ISDIR(info.st_mode) && recursive) {
            subfolders.emplace_back(name);
        }
        if (S_ISREG(info.st_mode)) {
            visit({folder, name, path.empty() ? std::string(name) : path + "/" + std::string(name),
                   static_cast<std::uint64_t>(info.st_size),
                   static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 +
                       info.st_mtim.tv_nsec});
        }
    });
    for (const std::string& name : subfolders) {
        NativeHandle child;
        if (OpenChildFolder(folder, name, false, child).outcome == FolderOutcome::kOpened) {
            WalkOpenFolder(child, path.empty() ? name : path + "/" + name, true, visit);
        }
    }
}

}  // namespace

std::vector<std::string> SubfoldersOf(const NativeHandle& folder) {
    std::vector<std::string> names;
    ForEachEntry(folder, [&](const dirent& entry) {
        struct stat info {};
        if (entry.d_type == DT_DIR ||
            (entry.d_type == DT_UNKNOWN && StatusAt(folder, entry.d_name, info) &&
             S_ISDIR(info.st_mode))) {
            names.emplace_back(entry.d_name);
        }
    });
    return names;
}

bool OpenFolderBelow(const NativeHandle& base, std::string_view relative, NativeHandle& folder) {
    NativeHandle current(::dup(static_cast<int>(base.Get())));
    if (!current.IsOpen()) {
        return false;
    }
    while (!relative.empty()) {
        const std::size_t slash = relative.find('/');
        const std::string_view name = relative.substr(0, slash);
        relative =
            slash == std::string_view::npos ? std::string_view() : relative.substr(slash + 1);
        if (name.empty()) {
            continue;
        }
        NativeHandle child;
        if (OpenChildFolder(current, name, false, child).outcome != FolderOutcome::kOpened) {
            return false;
        }
        current = std::move(child);
    }
    folder = std::move(current);
    return true;
}

void WalkFolder(const NativeHandle& base, std::string_view relativeFolder, bool recursive,
                const std::function<void(const WalkedFile&)>& visit) {
    NativeHandle folder;
    if (OpenFolderBelow(base, relativeFolder, folder)) {
        WalkOpenFolder(folder, std::string(relativeFolder), recursive, visit);
    }
}

}  // namespace tavrin::server
