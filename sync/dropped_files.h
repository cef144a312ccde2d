#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "manifest/file_list_entry.h"
#include "sync/progress.h"
#include "sync/target_tree.h"

namespace tavrin {

// The paths of `previous` that `current` no longer lists, in the order of `previous`; names
// compare as the platform compares them, so a change of case alone drops nothing on Windows.
std::vector<std::string> UnlistedPaths(const std::vector<FileListEntry>& previous,
                                       const std::vector<FileListEntry>& current);

// Those of `paths` that are still a file in the game folder. A path the run would refuse is
// never looked at.
std::vector<std::string> StillInGameFolder(TargetTree& tree, const std::vector<std::string>& paths);

// Paths a project's new list no longer names: those its previous list named, and those the
// record of earlier runs holds. Found before the paths are resolved, from the lists alone.
struct DroppedCandidates {
    std::vector<std::string> fromList;
    std::vector<std::string> fromRecord;
};
DroppedCandidates FindDroppedCandidates(std::wstring_view serverText, const std::string& project,
                                        const std::vector<FileListEntry>& previous,
                                        const std::vector<FileListEntry>& current);

// What a project's new list dropped that the game folder still holds.
struct DroppedFiles {
    std::vector<std::string> found;  // dropped by this list
    std::vector<std::string> all;    // every one, the record's included
};

// Checks the candidates against the game folder and keeps those still there in the project's
// record; paths listed again, or gone from disk, leave it. Nothing in the game folder is
// touched.
DroppedFiles KeepDroppedFiles(TargetTree& tree, std::wstring_view serverText,
                              const std::string& project, const DroppedCandidates& candidates);

// The run's log of them: how many and which, the first 20 by name, then "and N more".
void LogDroppedFiles(const ProgressSinks& sinks, const std::string& project,
                     const std::vector<std::string>& paths);

inline constexpr std::size_t kDroppedFilesLogged = 20;

}  // namespace tavrin
