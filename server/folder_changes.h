#pragma once

#include <set>
#include <string>

namespace tavrin::server {

// What a watcher saw change below the root, as '/'-separated paths relative to it.
struct FolderChanges {
    std::set<std::string> folders;  // folders whose own files changed
    std::set<std::string> trees;    // folders that appeared or went, with all below them
    bool everything = false;        // events were lost: only a full rescan is sure

    bool Empty() const { return folders.empty() && trees.empty() && !everything; }
};

}  // namespace tavrin::server
