#include "sync/sync_run.h"

#include <algorithm>
#include <thread>
#include <unordered_map>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/compare.h"
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

bool RunServerSync(const ServerSyncRequest& request, SyncRunResult& result,
                   std::wstring& errorText) {
    std::wstring canonical;
    DownloadContext context;
    if (!NormalizeServerUrlWithPolicy(request.serverUrl, canonical, errorText) ||
        !ParseServerEndpoint(canonical, context.endpoint, errorText)) {
        return false;
    }
    HttpSession session;
    session.endpoint = context.endpoint;
    session.clientId = request.clientId;
    if (!OpenHttpSession(session, errorText, kSyncTimeouts)) {
        return false;
    }
    PasswordTable passwords;
    passwords.passwords = request.passwords;
    context.clientId = request.clientId;
    context.cancelFlag = request.cancelFlag;
    TargetTree tree;
    context.tree = &tree;
    context.passwords = &passwords;
    context.prompt = request.prompt;
    context.sinks = request.sinks;

    ComparisonState comparison;
    comparison.sinks = request.sinks;
    std::vector<SyncWorkItem> downloads;
    std::mutex downloadsMutex;
    request.sinks.Log(TrWide("log.compare_local_files"));
    ReportCompareProgress(comparison, TrWide("common.none"), true);

    for (const std::string& project : request.projects) {
        if (Cancelled(request.cancelFlag)) {
            return FailCancelled(errorText);
        }
        std::vector<FileListEntry> entries;
        bool fromCache = false;
        // The fetch writes passwords the user enters straight into the run's table.
        if (!FetchFileList(session, canonical, project, passwords.passwords, request.prompt,
                           request.forceFullFileLists, request.cancelFlag, entries, fromCache,
                           errorText)) {
            return false;
        }
        result.filesListed += entries.size();
        ReportCompareProgress(comparison, Utf8ToWide(project), true);
        std::vector<SyncWorkItem> items;
        if (!ResolveProject(request, tree, project, entries, items, errorText)) {
            return false;
        }
        comparison.ResetForProject(items.size());
        if (!RunComparisonPool(items, tree, comparison, request.cancelFlag, downloads,
                               downloadsMutex, errorText)) {
            return errorText.empty() ? FailCancelled(errorText) : false;
        }
        result.filesUpToDate += comparison.filesUpToDate.load();
        request.sinks.Log(
            FillPlaceholders(TrWide("log.project_summary"),
                             {Utf8ToWide(project), std::to_wstring(comparison.filesUpToDate.load()),
                              std::to_wstring(comparison.filesToDownload.load())}));
    }

    // Two projects may list the same file: one worker gets it, the later project winning.
    CollapseSamePaths(downloads);
    if (downloads.empty()) {
        request.sinks.Log(TrWide("log.compare_done"), true);
        ReportCompareProgress(comparison, TrWide("log.compare_done"), true);
        return true;
    }
    const unsigned workers = DownloadWorkerCount(downloads, std::thread::hardware_concurrency());
    request.sinks.Log(TrWide("log.start_download_workers"), true);
    DownloadStage stage;
    if (!RunDownloadStage(downloads, context, workers, stage, errorText)) {
        result.filesDownloaded = stage.filesDone.load();
        result.bytesDownloaded = stage.bytesDone.load();
        return false;
    }
    result.filesDownloaded = stage.filesDone.load();
    result.bytesDownloaded = stage.bytesDone.load();
    return true;
}

}  // namespace tavrin
