#pragma once

#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "net/file_list_fetch.h"
#include "net/rate_limit.h"
#include "settings/project_entry.h"
#include "sync/progress.h"

namespace tavrin {

// One server's part of a run, gathered on the window's thread.
struct ServerJob {
    ServerWorkItem item;
    ProjectPasswords passwords;
    std::uint64_t knownRevision = 0;  // the change feed's revision last synced
};

// How one server's part went.
struct ServerOutcome {
    QString url;
    bool completed = false;
    // The feed's revision read just before the server was synced: every change up to it is
    // in the game folder once the server completed. Empty when the feed did not answer.
    std::optional<std::uint64_t> revision;
};

struct SyncOutcome {
    bool ok = false;
    bool automatic = false;
    QString message;
    std::vector<ServerOutcome> servers;
};

// What a run asks of the window's thread, from the worker.
struct WorkerQuestions {
    // Blocks until answered or cancelled: true with the password.
    std::function<bool(const ProjectEntry& entry, bool retry, QString& password)> ask;
    // Returns at once.
    std::function<void(const QString& serverUrl, const QString& project, const QString& password)>
        remember;
};

// The worker's whole run: the engine once per server, in order, stopping at the first failure.
// Automatic runs read each server's revision first, so the changes they cover are known.
SyncOutcome RunSyncJobs(const std::vector<ServerJob>& jobs, const std::wstring& clientId,
                        const std::wstring& target, bool automatic, const std::atomic<bool>* cancel,
                        const WorkerQuestions& questions, const ProgressSinks& sinks,
                        RateLimit* rateLimit = nullptr);

}  // namespace tavrin
