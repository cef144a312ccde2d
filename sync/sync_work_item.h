#pragma once

#include <string>

#include "manifest/file_list_entry.h"

namespace tavrin {

// One file of one project: the unit of comparison and download.
struct SyncWorkItem {
    std::string project;     // UTF-8
    FileListEntry record;    // as the server listed it
    std::wstring localPath;  // resolved by ResolveServerPath
};

}  // namespace tavrin
