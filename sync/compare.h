#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "sync/progress.h"
#include "sync/sync_work_item.h"

namespace tavrin {

// Whether a local file must be downloaded: missing or unreadable, of another size, or (when
// the record has a digest) of another SHA-256. A file found equal gets the server's time.
// The local modification time is never trusted: a digest is checked on every run.
// `warning` receives a text for the log when the file could not be hashed. The file is
// looked at through its folder in the run's open game folder, never through a path.
bool NeedsDownload(const FileListEntry& record, TargetTree& tree, const TreeFile& file,
                   const std::atomic<bool>* cancelFlag, std::wstring& warning);

// The shared state of one project's comparison.
struct ComparisonState {
    std::atomic<std::uint64_t> nextIndex{0};
    std::atomic<std::uint64_t> filesToDownload{0};
    std::atomic<std::uint64_t> bytesToDownload{0};
    std::atomic<std::uint64_t> filesChanged{0};
    std::atomic<std::uint64_t> filesUpToDate{0};
    std::atomic<std::uint64_t> bytesCompared{0};
    std::atomic<std::uint64_t> filesCompared{0};
    std::atomic<bool> stop{false};
    std::uint64_t totalFiles = 0;
    ProgressSinks sinks;  // the run's

    // Report throttle: at most one report per 125 ms or 24 files.
    std::mutex progressMutex;
    std::chrono::steady_clock::time_point phaseStart = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastReport{};
    std::uint64_t lastReportedCount = 0;

    void ResetForProject(std::uint64_t files);
};

// Posts a comparison report, throttled unless `force`, with the projection of what will need
// downloading.
void ReportCompareProgress(ComparisonState& state, const std::wstring& currentName, bool force);

// The comparison threads for `items`: hardware concurrency (2 when unknown), at most 8, at
// least 1, and no more than items. The threads write into `downloads` under `downloadsMutex`.
unsigned ComparisonThreadCount(std::size_t items);

// Compares every item on the pool; false when it stopped because of the cancel flag (with
// `errorText` empty) or because a thread could not be started (with the reason).
bool RunComparisonPool(const std::vector<SyncWorkItem>& items, TargetTree& tree,
                       ComparisonState& state, const std::atomic<bool>* cancelFlag,
                       std::vector<SyncWorkItem>& downloads, std::mutex& downloadsMutex,
                       std::wstring& errorText);

}  // namespace tavrin
