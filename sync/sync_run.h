#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "net/file_list_fetch.h"
#include "sync/download.h"

namespace tavrin {

// One server's sync, as the window (or the CLI) asks for it.
struct ServerSyncRequest {
    std::wstring serverUrl;  // as configured; normalised by the run
    std::wstring clientId;
    std::vector<std::string> projects;  // UTF-8, in the order they are synchronised
    ProjectPasswords passwords;         // pre-filled with what the caller knows
    std::wstring targetFolder;
    const std::atomic<bool>* cancelFlag = nullptr;
    PasswordPrompt prompt;  // may block the run's threads while the user answers
    ProgressSinks sinks;    // the run's log lines and progress reports
    bool forceFullFileLists = false;
    // The download budget all workers share, when the player set a limit; the caller keeps it.
    RateLimit* rateLimit = nullptr;
};

// What a run did, filled as it goes.
struct SyncRunResult {
    std::uint64_t filesListed = 0;
    std::uint64_t filesUpToDate = 0;
    std::uint64_t filesDownloaded = 0;
    std::uint64_t bytesDownloaded = 0;
};

// Brings the selected projects of one server into the target folder: every file list is
// fetched and every path checked before anything is compared, all projects are compared,
// then everything that differs is downloaded by one pool of workers. Nothing is ever deleted
// but the run's own temporary files. Log lines and progress go to the request's sinks.
bool RunServerSync(const ServerSyncRequest& request, SyncRunResult& result,
                   std::wstring& errorText);

// Every file the selected projects' lists no longer name that the game folder still holds:
// those the record of earlier runs keeps and those the lists fetched now drop (which join the
// record), in project order. Nothing is downloaded or deleted.
bool ListDroppedFiles(const ServerSyncRequest& request, std::vector<std::string>& paths,
                      std::wstring& errorText);

// Merges records that land on one local path (compared as the platform compares names) into
// one work item, the later one winning, so that no two workers ever share a temporary file.
void CollapseSamePaths(std::vector<SyncWorkItem>& items);

}  // namespace tavrin
