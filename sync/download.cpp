#include "sync/download.h"

#include <algorithm>
#include <array>
#include <thread>

#include "i18n/ascii_text.h"
#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/http_request.h"
#include "net/percent_encoding.h"
#include "net/system_error.h"
#include "sync/folder_handle.h"
#include "sync/path_safety.h"
#include "sync/progress.h"
#include "sync/sha256.h"
#include "sync/thread_start.h"

namespace tavrin {
namespace {

constexpr int kMostAttempts = 3;
// The third entry is never slept: a third failure ends the loop first.
constexpr std::array<int, 3> kRetryDelaysMs = {500, 1500, 3500};

bool Cancelled(const std::atomic<bool>* cancelFlag) {
    return cancelFlag != nullptr && cancelFlag->load();
}

bool IsRetriedStatus(std::uint32_t status) {
    return status == 403 || status == 404 || status == 408 || status == 425 || status == 429 ||
           (status >= 500 && status <= 599);
}

std::wstring PasswordOf(PasswordTable* table, const std::string& project) {
    if (table == nullptr) {
        return {};
    }
    std::lock_guard lock(table->mutex);
    const auto it = table->passwords.find(project);
    return it == table->passwords.end() ? std::wstring() : it->second;
}

enum class PasswordOutcome { kRetry, kFail };

// On 401: one worker asks the user, the others wait for its answer and use it.
PasswordOutcome ObtainPassword(const DownloadContext& context, const std::string& project,
                               const std::wstring& usedPassword, std::wstring& errorText) {
    const bool retry = !usedPassword.empty();
    const auto refuse = [&] {
        errorText = FillPlaceholders(
            TrWide(retry ? "error.project_password_invalid" : "error.project_password_required"),
            {Utf8ToWide(project)});
        return PasswordOutcome::kFail;
    };
    PasswordTable* table = context.passwords;
    if (table == nullptr || !context.prompt.ask) {
        return refuse();
    }
    {
        std::unique_lock lock(table->mutex);
        table->changed.wait(lock, [&] { return table->asking.count(project) == 0; });
        const auto it = table->passwords.find(project);
        if (it != table->passwords.end() && it->second != usedPassword) {
            return PasswordOutcome::kRetry;  // another worker got one meanwhile
        }
        table->asking.insert(project);
    }
    std::wstring entered;
    const bool given = context.prompt.ask(project, retry, entered);
    if (given) {
        {
            std::lock_guard lock(table->mutex);
            table->passwords[project] = entered;
        }
        if (context.prompt.remember) {
            context.prompt.remember(project, entered);
        }
    }
    {
        std::lock_guard lock(table->mutex);
        table->asking.erase(project);
    }
    table->changed.notify_all();
    return given ? PasswordOutcome::kRetry : refuse();
}

std::wstring DownloadPath(const SyncWorkItem& item) {
    return L"/download_file/" + Utf8ToWide(PercentEncode(item.project)) + L"/" +
           Utf8ToWide(PercentEncodeKeepingSlashes(item.record.relativePath));
}

std::wstring SizeMismatch(const FileListEntry& record, std::uint64_t actual) {
    return FillPlaceholders(
        TrWide("error.download_size_mismatch"),
        {Utf8ToWide(record.relativePath), std::to_wstring(record.size), std::to_wstring(actual)});
}

void ReportDownloadProgress(DownloadStage& stage, const ProgressSinks& sinks, std::uint32_t total,
                            const SyncWorkItem& item) {
    const auto now = std::chrono::steady_clock::now();
    const std::uint32_t completed = stage.completed.load();
    {
        std::lock_guard lock(stage.progressMutex);
        if (completed < total && now - stage.lastReport < std::chrono::milliseconds(100) &&
            completed < stage.lastReportedCount + 6) {
            return;
        }
        stage.lastReport = now;
        stage.lastReportedCount = completed;
    }
    ProgressMessage message;
    message.done = completed;
    message.total = total;
    message.bytesDone = stage.bytesDone.load();
    message.bytesTotal = stage.totalBytes;
    message.elapsedSeconds = std::chrono::duration<double>(now - stage.start).count();
    message.currentFile = Utf8ToWide(item.record.relativePath);
    sinks.Report(message);
}

}  // namespace

void DownloadStage::Fail(const std::wstring& error) {
    std::lock_guard lock(errorMutex);
    if (!stop.load()) {
        stop = true;
        firstError = error;
    }
}

unsigned DownloadWorkerCount(const std::vector<SyncWorkItem>& items, unsigned hardware) {
    const std::size_t count = items.size();
    if (count == 0) {
        return 0;
    }
    const unsigned base = std::clamp(hardware == 0 ? 4U : hardware, 2U, 8U);
    const unsigned ceiling = std::clamp(hardware == 0 ? 8U : 2 * hardware, 4U, 16U);
    std::uint64_t totalBytes = 0;
    std::size_t upTo256k = 0;
    std::size_t upTo64k = 0;
    std::size_t from8m = 0;
    for (const SyncWorkItem& item : items) {
        totalBytes += item.record.size;
        upTo256k += item.record.size <= 262144 ? 1 : 0;
        upTo64k += item.record.size <= 65536 ? 1 : 0;
        from8m += item.record.size >= 8388608 ? 1 : 0;
    }
    const double n = static_cast<double>(count);
    const double average = static_cast<double>(totalBytes) / n;
    const double share256k = static_cast<double>(upTo256k) / n;
    const double share64k = static_cast<double>(upTo64k) / n;
    const double share8m = static_cast<double>(from8m) / n;
    unsigned workers = base;
    if ((share256k >= 0.6 || share64k >= 0.4 || average <= 393216.0) &&
        count >= std::size_t{3} * base) {
        workers = std::max(base + 2, 6U);
    }
    if ((share256k >= 0.8 || share64k >= 0.65) && count >= std::size_t{5} * base) {
        workers = std::max(workers, 10U);
    }
    if (share8m >= 0.7) {
        workers = std::min(workers, std::max(base / 2, 3U));
    }
    workers = std::clamp(workers, 1U, ceiling);
    return static_cast<unsigned>(std::min<std::size_t>(workers, count));
}

bool SleepCancellable(const std::atomic<bool>* cancelFlag, int milliseconds) {
    if (milliseconds <= 0) {
        return true;
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (true) {
        if (Cancelled(cancelFlag)) {
            return false;
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= end) {
            return true;
        }
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(
            end - now, std::chrono::milliseconds(100)));
    }
}

bool VerifyDownload(const FileListEntry& record, const NativeHandle& folder,
                    std::string_view temporaryName, std::wstring_view temporaryPath,
                    const std::atomic<bool>* cancelFlag, std::wstring& errorText, int& failureCode,
                    const std::string* streamedDigest) {
    const EntryStatus status = ReadEntryStatus(folder, temporaryName);
    if (status.kind != PathKind::kFile) {
        failureCode = 1;
        errorText = FillPlaceholders(TrWide("error.downloaded_file_unreadable"),
                                     {std::wstring(temporaryPath)});
        return false;
    }
    if (status.size != record.size) {
        failureCode = 2;
        errorText = SizeMismatch(record, status.size);
        return false;
    }
    if (record.hash.empty()) {
        return true;
    }
    std::string digest;
    std::wstring hashError;
    NativeHandle file;
    std::uint32_t code = 0;
    if (streamedDigest != nullptr) {
        digest = *streamedDigest;
    } else if (!OpenFileForReading(folder, temporaryName, file, code)) {
        hashError = FormatSystemError("error.sha_file_open_failed", code);
    }
    if (streamedDigest == nullptr &&
        (!file.IsOpen() || !Sha256OfOpenFile(file, cancelFlag, digest, hashError))) {
        failureCode = 3;
        errorText = FillPlaceholders(TrWide("error.download_hash_calculation_failed"), {hashError});
        return false;
    }
    const std::string expected = ToLowerAscii(record.hash);
    if (expected != digest) {
        failureCode = 4;
        errorText = FillPlaceholders(TrWide("error.download_hash_mismatch"),
                                     {Utf8ToWide(record.relativePath)});
        return false;
    }
    return true;
}

namespace {

// How one attempt at a file ended.
enum class AttemptEnd { kDone, kGiveUp, kRetry, kRetryNow };

// One file on its way: what each attempt at it needs.
struct FileDownload {
    const SyncWorkItem& item;
    const DownloadContext& context;
    const NativeHandle& folder;  // held open until the file is in place
    std::string temporary;
    std::wstring temporaryPath;
};

// The folder is held open until the file is in place: a swap of it, or of any folder above
// it, for a link cannot redirect the writes, the move or the time set.
bool OpenFileFolder(const SyncWorkItem& item, TargetTree& tree,
                    std::shared_ptr<const NativeHandle>& folder, std::wstring& errorText) {
    const FolderOpenResult opened = tree.OpenFolder(item.local.folder, true, folder);
    if (opened.outcome == FolderOutcome::kLink) {
        errorText = FillPlaceholders(TrWide("error.file_path_left_target_blocked"),
                                     {Utf8ToWide(item.record.relativePath)});
        return false;
    }
    if (opened.outcome != FolderOutcome::kOpened) {
        errorText = FillPlaceholders(TrWide("error.target_folder_create_failed"),
                                     {tree.LocalPath(item.local.folder, item.local.leaf)});
        return false;
    }
    return true;
}

// Sends the request with the body going into a new temporary file, hashed as it is written
// so that verifying needs no second read. True when the server answered.
bool FetchIntoTemporary(const FileDownload& file, HttpSession& session,
                        const std::wstring& password, Sha256Stream& streamed, HttpResult& result,
                        std::wstring& requestError) {
    OutputFile output;
    if (!file.item.record.hash.empty()) {
        output.SetObserver(
            [&streamed](const char* data, std::size_t size) { streamed.Update(data, size); });
    }
    NativeHandle created;
    std::uint32_t createError = 0;  // the text names the file; the code adds nothing
    if (!CreateNewFile(file.folder, file.temporary, created, createError)) {
        requestError =
            FillPlaceholders(TrWide("error.temp_file_create_failed"), {file.temporaryPath});
        return false;
    }
    output.Adopt(created.Release());
    HttpRequest request;
    request.endpointPath = DownloadPath(file.item);
    request.outFile = &output;
    request.cancelFlag = file.context.cancelFlag;
    request.bodyLimit = file.item.record.size;
    request.rateLimit = file.context.rateLimit;
    if (!password.empty()) {
        request.extraHeaders = L"X-Project-Password: " + HeaderSafePassword(password) + L"\r\n";
    }
    const bool exchanged = ExecuteHttpRequest(session, request, result, requestError);
    output.Close();
    if (!exchanged && output.WriteError() != 0) {
        // A disk that filled up after the check (another program wrote meanwhile) is named
        // with the file and the system's reason.
        requestError = FillPlaceholders(
            FormatSystemError("error.file_write_failed_for_file", output.WriteError()),
            {file.context.tree->LocalPath(file.item.local.folder, file.item.local.leaf)});
    }
    // An oversized error page was cut off too; its status still decides what happens.
    return exchanged || (result.bodyLimitExceeded && result.status != 200 && result.status != 0);
}

// Gives up with the cancel, or with the last error once the attempts are spent.
AttemptEnd RetryOrGiveUp(const FileDownload& file, int attempt, const std::wstring& lastError,
                         std::wstring& errorText) {
    if (Cancelled(file.context.cancelFlag)) {
        errorText = TrWide("error.sync_cancelled");
        return AttemptEnd::kGiveUp;
    }
    if (attempt >= kMostAttempts) {
        errorText = lastError;
        return AttemptEnd::kGiveUp;
    }
    return AttemptEnd::kRetry;
}

// A 200: the temporary file is verified and moved over the file it replaces.
AttemptEnd MoveIntoPlace(const FileDownload& file, Sha256Stream& streamed, int attempt,
                         std::wstring& lastError, std::wstring& errorText) {
    const FileListEntry& record = file.item.record;
    int failureCode = 0;
    std::uint32_t moveError = 0;
    std::string digest;
    const bool hashed = !record.hash.empty() && streamed.Finish(digest);
    if (!VerifyDownload(record, file.folder, file.temporary, file.temporaryPath,
                        file.context.cancelFlag, lastError, failureCode,
                        hashed ? &digest : nullptr)) {
        DeleteFileAt(file.folder, file.temporary);
    } else if (ReplaceFileAt(file.folder, file.temporary, file.item.local.leaf, moveError)) {
        SetFileTimeAt(file.folder, file.item.local.leaf, record.mtime);
        return AttemptEnd::kDone;
    } else {
        DeleteFileAt(file.folder, file.temporary);
        lastError = FormatSystemError("error.atomic_replace_failed", moveError);
    }
    return RetryOrGiveUp(file, attempt, lastError, errorText);
}

AttemptEnd AttemptDownload(const FileDownload& file, HttpSession& session, int attempt,
                           std::wstring& lastError, std::wstring& errorText,
                           std::uint64_t& bytesWritten) {
    DeleteFileAt(file.folder, file.temporary);
    const std::wstring password = PasswordOf(file.context.passwords, file.item.project);
    Sha256Stream streamed;
    HttpResult result;
    std::wstring requestError;
    if (!FetchIntoTemporary(file, session, password, streamed, result, requestError)) {
        DeleteFileAt(file.folder, file.temporary);
        // A body longer than the file is cut off as it arrives: a size mismatch.
        lastError = result.bodyLimitExceeded
                        ? SizeMismatch(file.item.record, file.item.record.size + 1)
                        : requestError;
        return RetryOrGiveUp(file, attempt, lastError, errorText);
    }
    if (result.status == 401) {
        DeleteFileAt(file.folder, file.temporary);
        return ObtainPassword(file.context, file.item.project, password, errorText) ==
                       PasswordOutcome::kFail
                   ? AttemptEnd::kGiveUp
                   : AttemptEnd::kRetryNow;
    }
    if (result.status == 200) {
        const AttemptEnd end = MoveIntoPlace(file, streamed, attempt, lastError, errorText);
        bytesWritten = end == AttemptEnd::kDone ? result.bytesRead : 0;
        return end;
    }
    DeleteFileAt(file.folder, file.temporary);
    lastError =
        FillPlaceholders(TrWide("error.download_http_for_file"),
                         {std::to_wstring(result.status),
                          Utf8ToWide(file.item.project + "/" + file.item.record.relativePath)});
    if (!IsRetriedStatus(result.status) || attempt >= kMostAttempts) {
        errorText = lastError;
        return AttemptEnd::kGiveUp;
    }
    return AttemptEnd::kRetry;
}

}  // namespace

bool DownloadFile(const SyncWorkItem& item, const DownloadContext& context, HttpSession& session,
                  std::wstring& errorText, std::uint64_t& bytesWritten) {
    bytesWritten = 0;
    std::shared_ptr<const NativeHandle> folder;
    if (!OpenFileFolder(item, *context.tree, folder, errorText)) {
        return false;
    }
    const std::string temporary = item.local.leaf + WideToUtf8(kTemporaryFileSuffix);
    const FileDownload file{item, context, *folder, temporary,
                            context.tree->LocalPath(item.local.folder, temporary)};
    std::wstring lastError;
    for (int attempt = 1;; ++attempt) {
        if (Cancelled(context.cancelFlag)) {
            DeleteFileAt(*folder, temporary);
            errorText = TrWide("error.sync_cancelled");
            return false;
        }
        const AttemptEnd end =
            AttemptDownload(file, session, attempt, lastError, errorText, bytesWritten);
        if (end == AttemptEnd::kDone || end == AttemptEnd::kGiveUp) {
            return end == AttemptEnd::kDone;
        }
        if (end == AttemptEnd::kRetry &&
            !SleepCancellable(
                context.cancelFlag,
                kRetryDelaysMs[static_cast<std::size_t>(std::clamp(attempt - 1, 0, 2))])) {
            errorText = lastError;
            return false;
        }
        if (attempt + 1 > kMostAttempts) {
            errorText = TrWide("error.sync_failed_default");
            return false;
        }
    }
}

void DownloadWorker(DownloadStage& stage, const std::vector<SyncWorkItem>& items,
                    const DownloadContext& context) {
    HttpSession session;
    session.endpoint = context.endpoint;
    session.clientId = context.clientId;
    std::wstring openError;
    if (!OpenHttpSession(session, openError, kDownloadTimeouts)) {
        stage.Fail(FillPlaceholders(TrWide("error.worker_init_failed"), {openError}));
        return;
    }
    if (stage.stop.load()) {
        return;
    }
    const auto total = static_cast<std::uint32_t>(items.size());
    while (true) {
        if (Cancelled(context.cancelFlag)) {
            stage.Fail(TrWide("error.sync_cancelled"));
            return;
        }
        const std::uint64_t index = stage.nextIndex.fetch_add(1);
        if (index >= items.size()) {
            return;
        }
        std::wstring error;
        std::uint64_t bytes = 0;
        if (!DownloadFile(items[index], context, session, error, bytes)) {
            stage.Fail(error);
            return;
        }
        stage.filesDone.fetch_add(1);
        stage.bytesDone.fetch_add(bytes);
        stage.completed.fetch_add(1);
        ReportDownloadProgress(stage, context.sinks, total, items[index]);
        if (stage.stop.load()) {
            return;
        }
    }
}

bool RunDownloadStage(const std::vector<SyncWorkItem>& items, const DownloadContext& context,
                      unsigned workers, DownloadStage& stage, std::wstring& errorText) {
    for (const SyncWorkItem& item : items) {
        stage.totalBytes += item.record.size;
    }
    stage.start = std::chrono::steady_clock::now();
    ProgressMessage opening;
    opening.total = static_cast<std::uint32_t>(items.size());
    opening.bytesTotal = stage.totalBytes;
    opening.currentFile = TrWide("common.none");
    context.sinks.Report(opening);
    std::vector<std::thread> threads(workers);
    for (std::thread& thread : threads) {
        std::wstring startError;
        if (!StartThread(thread, startError, DownloadWorker, std::ref(stage), std::cref(items),
                         std::cref(context))) {
            stage.Fail(startError);  // the workers already running end after their file
            break;
        }
    }
    for (std::thread& thread : threads) {
        if (thread.joinable()) {
            thread.join();
        }
    }
    std::lock_guard lock(stage.errorMutex);
    if (stage.stop.load() || !stage.firstError.empty()) {
        errorText =
            stage.firstError.empty() ? TrWide("error.sync_failed_default") : stage.firstError;
        return false;
    }
    return true;
}

}  // namespace tavrin
