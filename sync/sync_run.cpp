#include "sync/sync_run.h"

#include <algorithm>
#include <thread>
#include <unordered_map>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/compare.h"
#include "sync/dropped_files.h"
#include "sync/free_space.h"
#include "sync/path_safety.h"
#include "sync/path_status.h"
#include "sync/progress.h"

namespace tavrin {
namespace {

bool Cancelled(const std::atomic<bool>* cancelFlag) {
    return cancelFlag != nullptr && cancelFlag->load();
}

bool FailCancelled(std::wstring& errorText) {
    errorText = TrWide("error.sync_cancelled");
    return false;
}

// The key under which two work items are the same file on this platform: their folder (whose
// index already follows the platform's name comparison) and their name.
std::wstring PathKey(const SyncWorkItem& item) {
    return std::to_wstring(item.local.folder) + L'/' + PathCaseKey(Utf8ToWide(item.local.leaf));
}

bool ResolveProject(const ServerSyncRequest& request, TargetTree& tree, const std::string& project,
                    std::vector<FileListEntry>& entries, std::vector<SyncWorkItem>& items,
                    std::wstring& errorText) {
    const auto refuse = [&](const std::wstring& pathError) {
        errorText = FillPlaceholders(TrWide("error.project_prefix_with_details"),
                                     {Utf8ToWide(project), pathError});
        return false;
    };
    items.reserve(entries.size());
    for (FileListEntry& entry : entries) {
        if (Cancelled(request.cancelFlag)) {
            return FailCancelled(errorText);
        }
        std::wstring pathError;
        // The game folder is opened once, when the first path needs it, and held for the run.
        if (!tree.IsOpen() && !tree.Open(request.targetFolder, pathError)) {
            return refuse(pathError);
        }
        TreeFile local;
        if (!ResolveServerPathInTree(tree, entry.relativePath, local, pathError)) {
            return refuse(pathError);
        }
        items.push_back({project, std::move(entry), std::move(local)});
    }
    entries.clear();
    entries.shrink_to_fit();
    CollapseSamePaths(items);
    return true;
}

}  // namespace

void CollapseSamePaths(std::vector<SyncWorkItem>& items) {
    std::unordered_map<std::wstring, std::size_t> latest;
    for (std::size_t i = 0; i < items.size(); ++i) {
        latest[PathKey(items[i])] = i;
    }
    if (latest.size() == items.size()) {
        return;
    }
    std::vector<SyncWorkItem> kept;
    kept.reserve(latest.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (latest[PathKey(items[i])] == i) {
            kept.push_back(std::move(items[i]));
        }
    }
    items = std::move(kept);
}

namespace {

// What a run gathers while it compares its projects, for the downloads after.
struct RunComparison {
    ComparisonState state;
    std::vector<SyncWorkItem> downloads;
    std::mutex downloadsMutex;
};

// The server's address checked against the HTTP policy, and one session to it for the run.
bool OpenRun(const ServerSyncRequest& request, std::wstring& canonical, DownloadContext& context,
             HttpSession& session, std::wstring& errorText) {
    if (!NormalizeServerUrlWithPolicy(request.serverUrl, canonical, errorText) ||
        !ParseServerEndpoint(canonical, context.endpoint, errorText)) {
        return false;
    }
    session.endpoint = context.endpoint;
    session.clientId = request.clientId;
    if (!OpenHttpSession(session, errorText, kSyncTimeouts)) {
        return false;
    }
    context.clientId = request.clientId;
    context.cancelFlag = request.cancelFlag;
    context.prompt = request.prompt;
    context.sinks = request.sinks;
    context.rateLimit = request.rateLimit;
    return true;
}

// Files the project's lists no longer name that are still in the game folder: logged, kept in
// the record, left where they are.
void ReportDroppedFiles(const ServerSyncRequest& request, TargetTree& tree,
                        const std::wstring& canonical, const std::string& project,
                        const DroppedCandidates& candidates) {
    if (candidates.fromList.empty() && candidates.fromRecord.empty()) {
        return;
    }
    std::wstring ignored;  // a game folder that cannot be opened has nothing to report
    if (!tree.IsOpen() && !tree.Open(request.targetFolder, ignored)) {
        return;
    }
    const DroppedFiles dropped = KeepDroppedFiles(tree, canonical, project, candidates);
    LogDroppedFiles(request.sinks, project, dropped.found);
}

// One project's file list, fetched and compared with the game folder; what differs joins the
// downloads.
bool CompareProject(const ServerSyncRequest& request, HttpSession& session,
                    const std::wstring& canonical, const std::string& project,
                    DownloadContext& context, RunComparison& run, SyncRunResult& result,
                    std::wstring& errorText) {
    std::vector<FileListEntry> entries;
    std::vector<FileListEntry> previous;
    bool fromCache = false;
    // The fetch writes passwords the user enters straight into the run's table.
    if (!FetchFileList(session, canonical, project, context.passwords->passwords, request.prompt,
                       request.forceFullFileLists, request.cancelFlag, entries, fromCache,
                       errorText, &previous)) {
        return false;
    }
    result.filesListed += entries.size();
    ReportCompareProgress(run.state, Utf8ToWide(project), true);
    // A list answered from the cache is the one the last run saw: it dropped nothing new.
    const DroppedCandidates dropped =
        fromCache ? DroppedCandidates{}
                  : FindDroppedCandidates(canonical, project, previous, entries);
    std::vector<SyncWorkItem> items;
    if (!ResolveProject(request, *context.tree, project, entries, items, errorText)) {
        return false;
    }
    ReportDroppedFiles(request, *context.tree, canonical, project, dropped);
    run.state.ResetForProject(items.size());
    if (!RunComparisonPool(items, *context.tree, run.state, request.cancelFlag, run.downloads,
                           run.downloadsMutex, errorText)) {
        return errorText.empty() ? FailCancelled(errorText) : false;
    }
    result.filesUpToDate += run.state.filesUpToDate.load();
    request.sinks.Log(
        FillPlaceholders(TrWide("log.project_summary"),
                         {Utf8ToWide(project), std::to_wstring(run.state.filesUpToDate.load()),
                          std::to_wstring(run.state.filesToDownload.load())}));
    return true;
}

bool DownloadDifferences(const ServerSyncRequest& request, const DownloadContext& context,
                         RunComparison& run, SyncRunResult& result, std::wstring& errorText) {
    // Two projects may list the same file: one worker gets it, the later project winning.
    CollapseSamePaths(run.downloads);
    if (run.downloads.empty()) {
        request.sinks.Log(TrWide("log.compare_done"), true);
        ReportCompareProgress(run.state, TrWide("log.compare_done"), true);
        return true;
    }
    // A run that could only fail half way, on a full disk, stops before its first byte.
    if (!CheckFreeSpace(*context.tree, run.downloads, errorText)) {
        return false;
    }
    const unsigned workers =
        DownloadWorkerCount(run.downloads, std::thread::hardware_concurrency());
    request.sinks.Log(TrWide("log.start_download_workers"), true);
    DownloadStage stage;
    const bool downloaded = RunDownloadStage(run.downloads, context, workers, stage, errorText);
    result.filesDownloaded = stage.filesDone.load();
    result.bytesDownloaded = stage.bytesDone.load();
    return downloaded;
}

}  // namespace

bool RunServerSync(const ServerSyncRequest& request, SyncRunResult& result,
                   std::wstring& errorText) {
    std::wstring canonical;
    DownloadContext context;
    HttpSession session;
    if (!OpenRun(request, canonical, context, session, errorText)) {
        return false;
    }
    PasswordTable passwords;
    passwords.passwords = request.passwords;
    TargetTree tree;
    context.tree = &tree;
    context.passwords = &passwords;

    RunComparison run;
    run.state.sinks = request.sinks;
    request.sinks.Log(TrWide("log.compare_local_files"));
    ReportCompareProgress(run.state, TrWide("common.none"), true);
    for (const std::string& project : request.projects) {
        if (Cancelled(request.cancelFlag)) {
            return FailCancelled(errorText);
        }
        if (!CompareProject(request, session, canonical, project, context, run, result,
                            errorText)) {
            return false;
        }
    }
    return DownloadDifferences(request, context, run, result, errorText);
}

bool ListDroppedFiles(const ServerSyncRequest& request, std::vector<std::string>& paths,
                      std::wstring& errorText) {
    std::wstring canonical;
    DownloadContext context;
    HttpSession session;
    if (!OpenRun(request, canonical, context, session, errorText)) {
        return false;
    }
    TargetTree tree;
    if (!tree.Open(request.targetFolder, errorText)) {
        return false;
    }
    ProjectPasswords passwords = request.passwords;
    for (const std::string& project : request.projects) {
        std::vector<FileListEntry> entries;
        std::vector<FileListEntry> previous;
        bool fromCache = false;
        if (!FetchFileList(session, canonical, project, passwords, request.prompt, false,
                           request.cancelFlag, entries, fromCache, errorText, &previous)) {
            return false;
        }
        const DroppedFiles dropped = KeepDroppedFiles(
            tree, canonical, project,
            FindDroppedCandidates(canonical, project, fromCache ? entries : previous, entries));
        paths.insert(paths.end(), dropped.all.begin(), dropped.all.end());
    }
    return true;
}

}  // namespace tavrin
