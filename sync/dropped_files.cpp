#include "sync/dropped_files.h"

#include <memory>
#include <unordered_set>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/manifest_cache.h"
#include "sync/folder_handle.h"
#include "sync/path_safety.h"
#include "sync/path_status.h"

namespace tavrin {
namespace {

std::wstring NameKey(const std::string& path) {
    return PathCaseKey(Utf8ToWide(path));
}

bool IsFileInTree(TargetTree& tree, const std::string& path) {
    TreeFile file;
    std::wstring refused;
    if (!ResolveServerPathInTree(tree, path, file, refused)) {
        return false;
    }
    std::shared_ptr<const NativeHandle> folder;
    if (tree.OpenFolder(file.folder, false, folder).outcome != FolderOutcome::kOpened) {
        return false;
    }
    return ReadEntryStatus(*folder, file.leaf).kind == PathKind::kFile;
}

}  // namespace

std::vector<std::string> UnlistedPaths(const std::vector<FileListEntry>& previous,
                                       const std::vector<FileListEntry>& current) {
    std::unordered_set<std::wstring> listed;
    listed.reserve(current.size());
    for (const FileListEntry& entry : current) {
        listed.insert(NameKey(entry.relativePath));
    }
    std::vector<std::string> unlisted;
    std::unordered_set<std::wstring> seen;
    for (const FileListEntry& entry : previous) {
        const std::wstring key = NameKey(entry.relativePath);
        if (!listed.contains(key) && seen.insert(key).second) {
            unlisted.push_back(entry.relativePath);
        }
    }
    return unlisted;
}

std::vector<std::string> StillInGameFolder(TargetTree& tree,
                                           const std::vector<std::string>& paths) {
    std::vector<std::string> present;
    for (const std::string& path : paths) {
        if (IsFileInTree(tree, path)) {
            present.push_back(path);
        }
    }
    return present;
}

DroppedCandidates FindDroppedCandidates(std::wstring_view serverText, const std::string& project,
                                        const std::vector<FileListEntry>& previous,
                                        const std::vector<FileListEntry>& current) {
    std::vector<FileListEntry> recorded;
    for (std::string& path : ReadDroppedRecord(serverText, project)) {
        recorded.push_back({std::move(path), 0, 0.0, {}});
    }
    return {UnlistedPaths(previous, current), UnlistedPaths(recorded, current)};
}

DroppedFiles KeepDroppedFiles(TargetTree& tree, std::wstring_view serverText,
                              const std::string& project, const DroppedCandidates& candidates) {
    DroppedFiles dropped;
    dropped.found = StillInGameFolder(tree, candidates.fromList);
    dropped.all = StillInGameFolder(tree, candidates.fromRecord);
    std::unordered_set<std::wstring> known;
    for (const std::string& path : dropped.all) {
        known.insert(NameKey(path));
    }
    for (const std::string& path : dropped.found) {
        if (known.insert(NameKey(path)).second) {
            dropped.all.push_back(path);
        }
    }
    std::wstring ignored;  // a record that cannot be written only shortens a later listing
    WriteDroppedRecord(serverText, project, dropped.all, ignored);
    return dropped;
}

void LogDroppedFiles(const ProgressSinks& sinks, const std::string& project,
                     const std::vector<std::string>& paths) {
    if (paths.empty()) {
        return;
    }
    sinks.Log(FillPlaceholders(TrWide("log.dropped_files"),
                               {Utf8ToWide(project), std::to_wstring(paths.size())}));
    for (std::size_t i = 0; i < paths.size() && i < kDroppedFilesLogged; ++i) {
        sinks.Log(L"    " + Utf8ToWide(paths[i]));
    }
    if (paths.size() > kDroppedFilesLogged) {
        sinks.Log(L"    " +
                  FillPlaceholders(TrWide("log.dropped_files_more"),
                                   {std::to_wstring(paths.size() - kDroppedFilesLogged)}));
    }
    if (sinks.dropped) {
        sinks.dropped(project, paths);
    }
}

}  // namespace tavrin
