#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "net/file_list_fetch.h"
#include "net/http_session.h"
#include "net/rate_limit.h"
#include "sync/progress.h"
#include "sync/sync_work_item.h"
#include "sync/target_tree.h"

namespace tavrin {

// The run's passwords, shared by its download workers. `asking` holds the projects whose
// password is being asked for right now, so that workers meeting 401 together ask once.
struct PasswordTable {
    std::mutex mutex;
    std::condition_variable changed;
    ProjectPasswords passwords;
    std::set<std::string> asking;
};

// What every worker of a stage needs from the run.
struct DownloadContext {
    ServerEndpoint endpoint;
    TargetTree* tree = nullptr;  // the run's open game folder
    std::wstring clientId;
    const std::atomic<bool>* cancelFlag = nullptr;
    PasswordTable* passwords = nullptr;
    PasswordPrompt prompt;
    ProgressSinks sinks;             // the run's
    RateLimit* rateLimit = nullptr;  // the download budget, when the player set one
};

// The state all workers of one download stage share.
struct DownloadStage {
    std::atomic<std::uint64_t> nextIndex{0};
    std::atomic<std::uint64_t> filesDone{0};
    std::atomic<std::uint64_t> bytesDone{0};
    std::atomic<std::uint32_t> completed{0};
    std::atomic<bool> stop{false};
    std::mutex errorMutex;
    std::wstring firstError;  // the first failing file's text decides the stage
    std::mutex progressMutex;
    std::chrono::steady_clock::time_point lastReport{};
    std::uint32_t lastReportedCount = 0;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::uint64_t totalBytes = 0;

    // Stores `error` as the stage's error unless another came first, and stops the stage.
    void Fail(const std::wstring& error);
};

// How many workers a list gets: more connections for many small files, fewer for mostly
// large ones. `hardware` is the processor count (0 when unknown).
unsigned DownloadWorkerCount(const std::vector<SyncWorkItem>& items, unsigned hardware);

// The body of one worker thread: its own HTTP session, files handed out one at a time.
void DownloadWorker(DownloadStage& stage, const std::vector<SyncWorkItem>& items,
                    const DownloadContext& context);

// Downloads all items on `workers` threads; false with the stage's first error otherwise.
bool RunDownloadStage(const std::vector<SyncWorkItem>& items, const DownloadContext& context,
                      unsigned workers, DownloadStage& stage, std::wstring& errorText);

// One file: into "<name>.tavrin_tmp" beside it (created new, never through a link), verified,
// moved over the target in one step and given the server's time; up to three attempts. The
// file's folder is made when missing and held open throughout, and every step names the file
// relative to it. The target itself is never deleted or truncated.
bool DownloadFile(const SyncWorkItem& item, const DownloadContext& context, HttpSession& session,
                  std::wstring& errorText, std::uint64_t& bytesWritten);

// Checks a downloaded file, `temporaryName` in `folder`, against its record. `failureCode`:
// 1 unreadable, 2 size, 3 hashing failed, 4 digest differs. `temporaryPath` names the file in
// the texts. `streamedDigest`, when given, is the digest of the bytes as they were written;
// otherwise the file is read back and hashed.
bool VerifyDownload(const FileListEntry& record, const NativeHandle& folder,
                    std::string_view temporaryName, std::wstring_view temporaryPath,
                    const std::atomic<bool>* cancelFlag, std::wstring& errorText, int& failureCode,
                    const std::string* streamedDigest = nullptr);

// Sleeps in slices of at most 100 ms; false as soon as the cancel flag is raised.
bool SleepCancellable(const std::atomic<bool>* cancelFlag, int milliseconds);

// The suffix of download temporary files.
inline constexpr std::wstring_view kTemporaryFileSuffix = L".tavrin_tmp";

}  // namespace tavrin
