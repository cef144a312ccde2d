// The sync worker's run: one engine run per server, with the passwords the window knows, and
// the summary the window logs.
#include "ui/sync_worker.h"

#include "i18n/translator.h"
#include "net/change_feed.h"
#include "sync/progress.h"
#include "sync/progress_format.h"
#include "sync/sync_run.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

QString Number(std::uint64_t value) {
    return QString::number(value, 10);
}

// The revision the server's feed reports right now, without waiting.
std::optional<std::uint64_t> CurrentRevision(const ServerJob& job, const std::wstring& clientId,
                                             const std::atomic<bool>* cancel) {
    ChangeFeedResult feed;
    std::wstring error;
    if (!PollChanges(job.item.serverUrl.trimmed().toStdWString(), clientId, job.knownRevision, 0,
                     job.item.projects, feed, error, cancel)) {
        return std::nullopt;
    }
    return feed.revision;
}

PasswordPrompt PromptFor(const ServerJob& job, const WorkerQuestions& questions) {
    PasswordPrompt prompt;
    const QString serverUrl = job.item.serverUrl;
    const QString serverName = job.item.serverName;
    prompt.ask = [ask = questions.ask, serverUrl, serverName](const std::string& project,
                                                              bool retry, std::wstring& password) {
        QString text;
        const ProjectEntry entry{serverName, serverUrl, project, {}, true};
        if (!ask(entry, retry, text)) {
            return false;
        }
        password = text.toStdWString();
        return true;
    };
    prompt.remember = [remember = questions.remember, serverUrl](const std::string& project,
                                                                 const std::wstring& password) {
        remember(serverUrl, QString::fromStdString(project), QString::fromStdWString(password));
    };
    return prompt;
}

// The log line that ends a run in which every server completed.
QString SummaryOf(std::uint64_t serversDone, const SyncRunResult& totals) {
    return Text("log.sync_summary")
        .arg(Number(serversDone), Number(totals.filesListed), Number(totals.filesUpToDate),
             Number(totals.filesDownloaded), Number(totals.bytesDownloaded),
             QString::fromStdWString(FormatBytes(totals.bytesDownloaded)));
}

}  // namespace

SyncOutcome RunSyncJobs(const std::vector<ServerJob>& jobs, const std::wstring& clientId,
                        const std::wstring& target, bool automatic, const std::atomic<bool>* cancel,
                        const WorkerQuestions& questions, const ProgressSinks& sinks,
                        RateLimit* rateLimit) {
    SyncOutcome outcome;
    outcome.automatic = automatic;
    bool ok = true;
    std::wstring error;
    std::uint64_t serversDone = 0;
    SyncRunResult totals;
    for (const ServerJob& job : jobs) {
        if (cancel->load()) {
            ok = false;
            error = TrWide("error.sync_cancelled");
            break;
        }
        sinks.Log(Text("log.syncing_server").arg(job.item.serverName).toStdWString());
        ServerOutcome server{job.item.serverUrl.trimmed().toLower(), false, std::nullopt};
        if (automatic) {
            server.revision = CurrentRevision(job, clientId, cancel);
        }
        ServerSyncRequest request;
        request.serverUrl = job.item.serverUrl.toStdWString();
        request.clientId = clientId;
        request.projects = job.item.projects;
        request.passwords = job.passwords;
        request.targetFolder = target;
        request.cancelFlag = cancel;
        request.prompt = PromptFor(job, questions);
        request.sinks = sinks;
        request.rateLimit = rateLimit;
        SyncRunResult result;
        const bool synced = RunServerSync(request, result, error);
        server.completed = synced;
        outcome.servers.push_back(server);
        if (!synced) {
            ok = false;
            break;
        }
        ++serversDone;
        totals.filesListed += result.filesListed;
        totals.filesUpToDate += result.filesUpToDate;
        totals.filesDownloaded += result.filesDownloaded;
        totals.bytesDownloaded += result.bytesDownloaded;
    }
    if (automatic) {
        ReleaseChangeFeedConnection();
    }
    outcome.ok = ok;
    outcome.message = ok              ? SummaryOf(serversDone, totals)
                      : error.empty() ? Text("error.sync_failed_default")
                                      : QString::fromStdWString(error);
    return outcome;
}

}  // namespace tavrin
