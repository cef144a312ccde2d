#include "sync/compare.h"

#include <algorithm>
#include <cmath>
#include <thread>

#include "i18n/ascii_text.h"
#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/folder_handle.h"
#include "sync/progress.h"
#include "sync/sha256.h"
#include "sync/thread_start.h"

namespace tavrin {
namespace {

bool Cancelled(const std::atomic<bool>* cancelFlag) {
    return cancelFlag != nullptr && cancelFlag->load();
}

void CompareLoop(const std::vector<SyncWorkItem>& items, TargetTree& tree, ComparisonState& state,
                 const std::atomic<bool>* cancelFlag, std::vector<SyncWorkItem>& downloads,
                 std::mutex& downloadsMutex, std::size_t threads) {
    std::vector<SyncWorkItem> mine;
    mine.reserve(items.size() / threads + 8);
    while (true) {
        if (Cancelled(cancelFlag)) {
            state.stop = true;
            break;
        }
        const std::uint64_t index = state.nextIndex.fetch_add(1);
        if (index >= items.size()) {
            break;
        }
        const SyncWorkItem& item = items[index];
        std::wstring warning;
        const bool download = NeedsDownload(item.record, tree, item.local, cancelFlag, warning);
        if (Cancelled(cancelFlag)) {
            state.stop = true;
            break;
        }
        if (!warning.empty()) {
            state.sinks.Log(warning);
        }
        if (download) {
            mine.push_back(item);
            state.filesToDownload.fetch_add(1);
            state.filesChanged.fetch_add(1);
            state.bytesToDownload.fetch_add(item.record.size);
        } else {
            state.filesUpToDate.fetch_add(1);
        }
        state.bytesCompared.fetch_add(item.record.size);
        state.filesCompared.fetch_add(1);
        ReportCompareProgress(state, Utf8ToWide(item.record.relativePath), false);
    }
    std::lock_guard lock(downloadsMutex);
    downloads.insert(downloads.end(), std::make_move_iterator(mine.begin()),
                     std::make_move_iterator(mine.end()));
}

}  // namespace

bool NeedsDownload(const FileListEntry& record, TargetTree& tree, const TreeFile& file,
                   const std::atomic<bool>* cancelFlag, std::wstring& warning) {
    // The folder stays open while its file is looked at: a swap of it for a link cannot
    // redirect the reads or the time set below.
    std::shared_ptr<const NativeHandle> folder;
    if (tree.OpenFolder(file.folder, false, folder).outcome != FolderOutcome::kOpened) {
        return true;
    }
    const EntryStatus status = ReadEntryStatus(*folder, file.leaf);
    if (status.kind != PathKind::kFile) {
        return true;
    }
    if (Cancelled(cancelFlag)) {
        warning = TrWide("error.sync_cancelled");
        return true;
    }
    if (status.size != record.size) {
        return true;
    }
    if (record.hash.empty()) {
        SetFileTimeAt(*folder, file.leaf, record.mtime);
        return false;
    }
    std::string digest;
    std::wstring error;
    NativeHandle opened;
    std::uint32_t code = 0;
    if (!OpenFileForReading(*folder, file.leaf, opened, code) ||
        !Sha256OfOpenFile(opened, cancelFlag, digest, error)) {
        warning = Cancelled(cancelFlag)
                      ? TrWide("error.sync_cancelled")
                      : FillPlaceholders(TrWide("warning.hash_compare_not_possible"),
                                         {tree.LocalPath(file.folder, file.leaf)});
        return true;
    }
    opened.Close();
    if (ToLowerAscii(record.hash) != digest) {
        return true;
    }
    SetFileTimeAt(*folder, file.leaf, record.mtime);
    return false;
}

void ComparisonState::ResetForProject(std::uint64_t files) {
    nextIndex = 0;
    filesToDownload = 0;
    bytesToDownload = 0;
    filesChanged = 0;
    filesUpToDate = 0;
    bytesCompared = 0;
    filesCompared = 0;
    stop = false;
    totalFiles = files;
}

void ReportCompareProgress(ComparisonState& state, const std::wstring& currentName, bool force) {
    const std::uint64_t total = state.totalFiles;
    const std::uint64_t compared = state.filesCompared.load();
    const auto now = std::chrono::steady_clock::now();
    {
        std::lock_guard lock(state.progressMutex);
        if (!force && compared < std::max<std::uint64_t>(total, 1) &&
            now - state.lastReport < std::chrono::milliseconds(125) &&
            compared < state.lastReportedCount + 24) {
            return;
        }
        state.lastReport = now;
        state.lastReportedCount = compared;
    }
    ProgressMessage message;
    const std::uint64_t files = state.filesToDownload.load();
    const std::uint64_t bytes = state.bytesToDownload.load();
    message.expectedFiles = files;
    message.expectedBytes = bytes;
    if (compared >= 1 && total > compared) {
        const double remaining = static_cast<double>(total - compared);
        const double c = static_cast<double>(compared);
        const double d = static_cast<double>(files);
        const double s = static_cast<double>(state.bytesCompared.load());
        message.expectedFiles = files + static_cast<std::uint64_t>(std::llround(d / c * remaining));
        message.expectedBytes =
            bytes + static_cast<std::uint64_t>(std::llround(s / c * d / c * remaining));
    }
    message.done = static_cast<std::uint32_t>(compared);
    message.total = static_cast<std::uint32_t>(std::max<std::uint64_t>(total, 1));
    message.elapsedSeconds = std::chrono::duration<double>(now - state.phaseStart).count();
    message.currentFile = currentName;
    message.comparing = true;
    state.sinks.Report(message);
}

unsigned ComparisonThreadCount(std::size_t items) {
    unsigned threads = std::thread::hardware_concurrency();
    if (threads == 0) {
        threads = 2;
    }
    threads = std::clamp(threads, 1U, 8U);
    return static_cast<unsigned>(std::min<std::size_t>(threads, items));
}

bool RunComparisonPool(const std::vector<SyncWorkItem>& items, TargetTree& tree,
                       ComparisonState& state, const std::atomic<bool>* cancelFlag,
                       std::vector<SyncWorkItem>& downloads, std::mutex& downloadsMutex,
                       std::wstring& errorText) {
    const unsigned count = ComparisonThreadCount(items.size());
    std::vector<std::thread> threads(count);
    bool started = true;
    for (std::thread& thread : threads) {
        if (!StartThread(thread, errorText, CompareLoop, std::cref(items), std::ref(tree),
                         std::ref(state), cancelFlag, std::ref(downloads), std::ref(downloadsMutex),
                         count)) {
            started = false;
            state.stop.store(true);  // the threads already running end at their next item
            break;
        }
    }
    for (std::thread& thread : threads) {
        if (thread.joinable()) {
            thread.join();
        }
    }
    if (!started) {
        return false;
    }
    errorText.clear();
    return !state.stop.load();
}

}  // namespace tavrin
