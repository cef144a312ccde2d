#include "server/folder_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace tavrin::server {
namespace {

void WalkOpenFolder(const NativeHandle& folder, const std::string& path, bool recursive,
                    const std::function<void(const WalkedFile&)>& visit) {
    // readdir needs a descriptor of its own: closedir closes it.
    const int listing = ::dup(static_cast<int>(folder.Get()));
    DIR* entries = listing < 0 ? nullptr : ::fdopendir(listing);
    if (entries == nullptr) {
        if (listing >= 0) {
            ::close(listing);
        }
        return;
    }
    std::vector<std::string> subfolders;
    while (const dirent* entry = ::readdir(entries)) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        if (entry->d_type == DT_DIR) {
            if (recursive) {
                subfolders.emplace_back(name);
            }
            continue;
        }
        if (entry->d_type != DT_REG && entry->d_type != DT_UNKNOWN) {
            continue;  // links, devices, sockets: never listed
        }
        struct stat info {};
        if (::fstatat(static_cast<int>(folder.Get()), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) !=
            0) {
            continue;
        }
        if (S_ISDIR(info.st_mode) && recursive) {
            subfolders.emplace_back(name);
        }
        if (!S_ISREG(info.st_mode)) {
            continue;
        }
        visit({folder, name, path.empty() ? std::string(name) : path + "/" + std::string(name),
               static_cast<std::uint64_t>(info.st_size),
               static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 +
                   info.st_mtim.tv_nsec});
    }
    ::closedir(entries);
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
    const int listing = ::dup(static_cast<int>(folder.Get()));
    DIR* entries = listing < 0 ? nullptr : ::fdopendir(listing);
    if (entries == nullptr) {
        if (listing >= 0) {
            ::close(listing);
        }
        return names;
    }
    while (const dirent* entry = ::readdir(entries)) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        struct stat info {};
        if (entry->d_type == DT_DIR || (entry->d_type == DT_UNKNOWN &&
                                        ::fstatat(static_cast<int>(folder.Get()), entry->d_name,
                                                  &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                                        S_ISDIR(info.st_mode))) {
            names.emplace_back(name);
        }
    }
    ::closedir(entries);
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
