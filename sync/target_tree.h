#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "sync/folder_handle.h"

namespace tavrin {

// The game folder of one run, opened once, and the folders below it that the run touches.
// Every folder is reached from its parent's open handle one element at a time, never through
// a link, and stays open while it is in use, so a folder swapped for a link during the run
// never carries a write outside the game folder. Folders are known by a small index; a work
// item is that index and a leaf name. Safe to use from every thread of the run.
class TargetTree {
public:
    static constexpr std::uint32_t kTop = 0;

    // Opens the game folder itself, trimmed and normalised. False with
    // "error.invalid_target_folder" when it is empty, missing, not a folder, unreadable (with
    // the system's code), or a link, junction or other reparse point.
    bool Open(std::wstring_view targetFolder, std::wstring& errorText);

    // The index of the folder `name` (one element) below `parent`, registered on first use.
    // Names compare as the platform compares them.
    std::uint32_t Child(std::uint32_t parent, std::string_view name);

    // An open handle of a registered folder: taken from the folders already open, or opened
    // from the nearest open ancestor down, each missing level made first when `create` is set.
    // The handle stays valid while the caller holds it, whatever the tree closes meanwhile.
    FolderOpenResult OpenFolder(std::uint32_t index, bool create,
                                std::shared_ptr<const NativeHandle>& folder);

    // The folder that holds `index` (the top holds itself).
    std::uint32_t Parent(std::uint32_t index) const;

    // The folder's path with `leaf` appended, for texts shown to the user only.
    std::wstring LocalPath(std::uint32_t folder, std::string_view leaf) const;
    const std::wstring& TopPath() const { return topPath_; }
    bool IsOpen() const;

    // The bound on folders kept open; those in use by a thread stay open beyond it.
    void SetMostOpenFolders(std::size_t most) { mostOpen_ = most; }
    std::size_t OpenFolderCount() const;
    std::size_t FolderCount() const;

private:
    struct OpenedFolder {
        NativeHandle handle;
        std::shared_ptr<OpenedFolder> parent;  // where kOpenFoldersHoldTheirParents
    };
    struct Node {
        std::uint32_t parent = kTop;
        std::string name;
        std::shared_ptr<OpenedFolder> open;
    };
    void CloseUnusedFolders();

    mutable std::mutex mutex_;
    std::wstring topPath_;
    std::vector<Node> nodes_;
    std::unordered_map<std::string, std::uint32_t> index_;
    std::size_t openCount_ = 0;
    std::size_t mostOpen_ = MostOpenFolders();
    std::size_t sweepFrom_ = 1;
};

// A file of the run: its folder in the tree and its name there (UTF-8).
struct TreeFile {
    std::uint32_t folder = TargetTree::kTop;
    std::string leaf;
};

}  // namespace tavrin
