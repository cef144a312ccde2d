#pragma once

#include <string>

#include "manifest/file_list_entry.h"
#include "sync/target_tree.h"

namespace tavrin {

// One file of one project: the unit of comparison and download.
struct SyncWorkItem {
    std::string project;   // UTF-8
    FileListEntry record;  // as the server listed it
    TreeFile local;        // resolved against the run's open game folder
};

}  // namespace tavrin
