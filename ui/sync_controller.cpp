#include "ui/sync_controller.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "i18n/translator.h"
#include "net/http_request.h"
#include "sync/path_safety.h"
#include "sync/thread_start.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kAnswerWaitMs = 20;

QString KeyOf(const QString& url) {
    return url.trimmed().toLower();
}

// A password question handed from the worker to the window's thread and its answer.
struct PendingAnswer {
    std::mutex mutex;
    std::condition_variable answered;
    bool done = false;
    bool ok = false;
    QString password;
};

}  // namespace

bool RefusalWarning(SyncRefusal refusal, const char*& titleKey, const char*& textKey) {
    switch (refusal) {
        case SyncRefusal::noServer:
            titleKey = "title.server";
            textKey = "warn.select_at_least_one_server";
            return true;
        case SyncRefusal::noTarget:
        case SyncRefusal::waitingForFolder:
            titleKey = "title.target_folder";
            textKey = "warn.set_target_folder_first";
            return true;
        case SyncRefusal::noProjects:
            titleKey = "title.projects";
            textKey = "warn.select_at_least_one_project";
            return true;
        case SyncRefusal::passwordCancelled:
            titleKey = "title.projects";
            textKey = "warn.invalid_project_selection";
            return true;
        default:
            return false;
    }
}

SyncController::SyncController(SettingsRecord& settings, QString clientId, QObject* parent)
    : QObject(parent),
      settings_(settings),
      clientId_(std::move(clientId)),
      lists_(clientId_, reaper_, nullptr),
      auto_(settings_, lists_, clientId_, reaper_,
            {[this] { return IsBusy(); },
             [this](const QString& reason) { RequestSync(true, reason); }}) {
    connect(&lists_, &ProjectLists::ListsLoading, this, &SyncController::ListsLoading);
    connect(&lists_, &ProjectLists::LogLine, this, &SyncController::LogLine);
    connect(&lists_, &ProjectLists::ListsLoaded, this, [this](const ListsOutcome& outcome) {
        emit ListsLoaded(outcome);
        auto_.RunPending(QString());
    });
    connect(&auto_, &AutoSync::LogLine, this, &SyncController::LogLine);
    connect(&auto_, &AutoSync::StateChanged, this, &SyncController::AutoSyncStateChanged);
    connect(&auto_, &AutoSync::SettingsChanged, this, &SyncController::SettingsChanged);
}

SyncController::~SyncController() {
    Shutdown();
}

// ---- Project lists -------------------------------------------------------------------------

void SyncController::RefreshProjectLists(bool force, bool requestedByPlayer) {
    if (shuttingDown_.load()) {
        return;
    }
    if (IsBusy()) {
        listsStaleAfterRun_ = true;  // a run holds the lists; they are fetched after it
        return;
    }
    const std::vector<ServerEntry> servers = SelectedServers(settings_);
    if (servers.empty()) {
        lists_.Clear();
        emit ListsCleared();
        RestartWatchers();
        return;
    }
    if (lists_.Refresh(servers, force, requestedByPlayer)) {
        RestartWatchers();
    }
}

void SyncController::OnServerChanged(const QString& serverUrl, quint64 revision,
                                     const QString& reason) {
    if (!shuttingDown_.load()) {
        auto_.OnServerChanged(serverUrl, revision, reason);
    }
}

// ---- Runs ----------------------------------------------------------------------------------

SyncRefusal SyncController::RequestSync(bool automatic, const QString& reason,
                                        const QStringList& checkedKeys) {
    if (shuttingDown_.load()) {
        return SyncRefusal::shuttingDown;
    }
    if (busy_.load() || starting_.load()) {
        if (automatic) {
            auto_.AskFollowUp();
        }
        return SyncRefusal::busy;
    }
    starting_.store(true);
    const QString target = QDir::toNativeSeparators(settings_.targetPath.trimmed());
    std::vector<ServerWorkItem> items;
    const SyncRefusal refusal = PrepareRun(automatic, target, checkedKeys, items);
    if (refusal != SyncRefusal::none) {
        starting_.store(false);
        return refusal;
    }
    return StartSync(automatic, reason, target, std::move(items));
}

// What a run would cover, or why there is none. An automatic request says why in the log.
SyncRefusal SyncController::PrepareRun(bool automatic, const QString& target,
                                       const QStringList& checkedKeys,
                                       std::vector<ServerWorkItem>& items) {
    std::vector<ServerEntry> servers = SelectedServers(settings_);
    if (servers.empty()) {
        return SyncRefusal::noServer;
    }
    if (const SyncRefusal folder = RefuseUnusableFolder(automatic, target);
        folder != SyncRefusal::none) {
        return folder;
    }
    if (!AnyListLoaded()) {
        return SyncRefusal::noLists;
    }
    if (automatic) {
        // A server whose list is not loaded is not reachable now: the run covers the others,
        // and its changes stay pending until its list is back.
        std::erase_if(servers,
                      [this](const ServerEntry& server) { return !ListLoaded(server.url); });
    }
    const QStringList selection = automatic ? AutoSyncSelection() : checkedKeys;
    if (const SyncRefusal chosen = RefuseSelection(automatic, selection);
        chosen != SyncRefusal::none) {
        return chosen;
    }
    if (shuttingDown_.load()) {
        return SyncRefusal::shuttingDown;
    }
    items = BuildServerWorkItems(servers, selection);
    if (items.empty()) {
        if (automatic) {
            Log(Text("log.auto_sync_skipped_no_projects"));
        }
        return SyncRefusal::nothingToSync;
    }
    return SyncRefusal::none;
}

bool SyncController::TargetUsable() const {
    return IsUsableTargetFolder(
        QDir::toNativeSeparators(settings_.targetPath.trimmed()).toStdWString(),
        settings_.targetValidationEnabled);
}

// A game folder that is not there waits for it (automatic runs); one that fails the check
// switches auto-sync off.
SyncRefusal SyncController::RefuseUnusableFolder(bool automatic, const QString& target) {
    if (IsUsableTargetFolder(target.toStdWString(), settings_.targetValidationEnabled)) {
        return SyncRefusal::none;
    }
    if (automatic && FolderIsAbsent(target)) {
        auto_.WaitForGameFolder(target);
        return SyncRefusal::waitingForFolder;
    }
    if (automatic) {
        Log(Text("log.auto_sync_skipped_no_target"));
        SetAutoSyncActive(false);
        RestartWatchers();
    }
    return SyncRefusal::noTarget;
}

SyncRefusal SyncController::RefuseSelection(bool automatic, const QStringList& selection) {
    if (selection.isEmpty()) {
        if (automatic) {
            Log(Text("log.auto_sync_skipped_no_projects"));
        }
        return SyncRefusal::noProjects;
    }
    if (questions_.forgetOutcomes) {
        questions_.forgetOutcomes();  // a project cancelled once is not skipped for ever
    }
    if (!CheckSelectionPasswords(selection, automatic)) {
        if (automatic) {
            Log(Text("log.auto_sync_skipped_invalid_project_selection"));
        }
        return SyncRefusal::passwordCancelled;
    }
    return SyncRefusal::none;
}

const ProjectEntry* SyncController::FindProjectEntry(const QString& key) const {
    const QString wanted = NormalizedProjectKey(key);
    for (const auto& [url, state] : lists_.States()) {
        for (const ProjectEntry& entry : state.entries) {
            if (ProjectKey(entry) == wanted) {
                return &entry;
            }
        }
    }
    return nullptr;
}

bool SyncController::CheckSelectionPasswords(const QStringList& selection, bool automatic) {
    for (const QString& key : selection) {
        const ProjectEntry* entry = FindProjectEntry(key);
        if (entry == nullptr || !entry->requiresPassword ||
            !settings_.projectPasswords
                 .value(PasswordKey(entry->serverUrl, QString::fromStdString(entry->projectName)))
                 .isEmpty()) {
            continue;
        }
        const ProjectEntry asked = *entry;  // the lists may be reloaded while the dialog is open
        QString answer;
        if (!questions_.ask || !questions_.ask(asked, false, answer)) {
            if (automatic) {
                Log(Text("log.project_password_prompt_cancelled")
                        .arg(QString::fromStdString(asked.projectName)));
            }
            return false;
        }
        RememberProjectPassword(asked.serverUrl, QString::fromStdString(asked.projectName), answer);
    }
    return true;
}

void SyncController::RememberProjectPassword(const QString& serverUrl, const QString& project,
                                             const QString& password) {
    if (serverUrl.trimmed().isEmpty() || project.isEmpty()) {
        return;
    }
    const QString key = PasswordKey(serverUrl, project);
    if (password.isEmpty()) {
        settings_.projectPasswords.remove(key);
    } else {
        settings_.projectPasswords.insert(key, password);
    }
    emit SettingsChanged();
}

SyncRefusal SyncController::StartSync(bool automatic, const QString& reason, const QString& target,
                                      std::vector<ServerWorkItem> items) {
    cancel_->store(false);
    auto_.RunStarting(automatic);
    std::vector<ServerJob> jobs = JobsFor(std::move(items));
    busy_.store(true);
    starting_.store(false);
    emit RunStarted(automatic);
    LogRunStart(automatic, reason);

    // One guard for every callback of the run: the worker may outlive this controller.
    const auto self = std::make_shared<const QPointer<SyncController>>(this);
    limit_ = settings_.downloadLimitEnabled
                 ? std::make_shared<RateLimit>(
                       static_cast<std::uint64_t>(settings_.downloadLimitMBps * 1024.0 * 1024.0))
                 : nullptr;
    std::wstring startError;
    const bool started = worker_.Start(
        startError, [self, jobs = std::move(jobs), clientId = clientId_.toStdWString(),
                     folder = target.toStdWString(), automatic, cancel = cancel_,
                     questions = QuestionsFor(self), sinks = SinksFor(self), limit = limit_] {
            const SyncOutcome outcome = RunSyncJobs(jobs, clientId, folder, automatic, cancel.get(),
                                                    questions, sinks, limit.get());
            if (SyncController* controller = self->data()) {
                QMetaObject::invokeMethod(
                    controller, [controller, outcome] { controller->OnSyncFinished(outcome); },
                    Qt::QueuedConnection);
            }
        });
    if (!started) {
        busy_.store(false);
        // Told after this request has returned, as the end of any run is.
        QMetaObject::invokeMethod(
            this,
            [this, automatic, text = QString::fromStdWString(startError)] {
                emit RunFinished(false, automatic, text);
            },
            Qt::QueuedConnection);
        return SyncRefusal::threadFailed;
    }
    return SyncRefusal::none;
}

// Each server's part of the run, with the passwords and the change-feed revision known for it.
std::vector<ServerJob> SyncController::JobsFor(std::vector<ServerWorkItem> items) const {
    std::vector<ServerJob> jobs;
    for (ServerWorkItem& item : items) {
        ServerJob job{std::move(item), {}, 0};
        for (const std::string& project : job.item.projects) {
            const QString password = settings_.projectPasswords.value(
                PasswordKey(job.item.serverUrl, QString::fromStdString(project)));
            if (!password.isEmpty()) {
                job.passwords[project] = password.toStdWString();
            }
        }
        const auto known = settings_.autoSyncRevisions.find(KeyOf(job.item.serverUrl));
        if (known != settings_.autoSyncRevisions.end()) {
            job.knownRevision = known->second;
        }
        jobs.push_back(std::move(job));
    }
    return jobs;
}

void SyncController::LogRunStart(bool automatic, const QString& reason) {
    if (!automatic) {
        Log(Text("log.sync_started"));
    } else if (reason.trimmed().isEmpty()) {
        Log(Text("log.auto_sync_started"));
    } else {
        Log(Text("log.auto_sync_started_with_reason").arg(reason.trimmed()));
    }
}

// The run's log lines and progress reach this thread queued; a controller gone by then drops
// them.
ProgressSinks SyncController::SinksFor(const Guard& self) {
    ProgressSinks sinks;
    sinks.log = [self](const std::wstring& line) {
        if (SyncController* controller = self->data()) {
            QMetaObject::invokeMethod(
                controller,
                [controller, text = QString::fromStdWString(line)] { controller->Log(text); },
                Qt::QueuedConnection);
        }
    };
    sinks.progress = [self](const ProgressMessage& message) {
        if (SyncController* controller = self->data()) {
            QMetaObject::invokeMethod(
                controller, [controller, message] { emit controller->ProgressReported(message); },
                Qt::QueuedConnection);
        }
    };
    return sinks;
}

// The run's questions for passwords, asked on this thread while the worker waits.
WorkerQuestions SyncController::QuestionsFor(const Guard& self) const {
    WorkerQuestions questions;
    questions.ask = [self, cancel = cancel_](const ProjectEntry& entry, bool retry,
                                             QString& password) {
        SyncController* controller = self->data();
        return controller != nullptr && controller->AskFromWorker(entry, retry, password, cancel);
    };
    questions.remember = [self](const QString& url, const QString& project, const QString& text) {
        if (SyncController* controller = self->data()) {
            QMetaObject::invokeMethod(
                controller,
                [controller, url, project, text] {
                    controller->RememberProjectPassword(url, project, text);
                },
                Qt::QueuedConnection);
        }
    };
    return questions;
}

// Called on the worker's thread: the question goes to the window's thread, and the worker
// waits for the answer, or for a cancel (a quit with the prompt still open).
bool SyncController::AskFromWorker(const ProjectEntry& entry, bool retry, QString& password,
                                   const std::shared_ptr<std::atomic<bool>>& cancel) {
    auto answer = std::make_shared<PendingAnswer>();
    QMetaObject::invokeMethod(
        this,
        [this, answer, entry, retry] {
            QString text;
            const bool ok = !shuttingDown_.load() && !cancel_->load() && questions_.ask &&
                            questions_.ask(entry, retry, text);
            const std::lock_guard lock(answer->mutex);
            answer->done = true;
            answer->ok = ok;
            answer->password = text;
            answer->answered.notify_all();
        },
        Qt::QueuedConnection);
    std::unique_lock lock(answer->mutex);
    while (!answer->done) {
        if (cancel->load()) {
            return false;
        }
        answer->answered.wait_for(lock, std::chrono::milliseconds(kAnswerWaitMs));
    }
    password = answer->password;
    return answer->ok;
}

void SyncController::OnSyncFinished(const SyncOutcome& outcome) {
    worker_.Join();  // it has posted this as its last act
    busy_.store(false);
    cancel_->store(false);
    if (shuttingDown_.load()) {
        return;
    }
    if (outcome.automatic && auto_.RecordSynced(outcome)) {
        emit RevisionsChanged();
    }
    emit RunFinished(outcome.ok, outcome.automatic, outcome.message);
    if (shuttingDown_.load()) {
        return;
    }
    if (listsStaleAfterRun_) {
        listsStaleAfterRun_ = false;
        RefreshProjectLists(true, false);
    }
    auto_.AfterRun(outcome.ok, outcome.automatic);
}

void SyncController::CancelSync() {
    if (!busy_.load()) {
        return;
    }
    cancel_->store(true);
    InterruptRequests(cancel_.get());
    Log(Text("log.cancel_requested"));
}

// ---- Shutting down -------------------------------------------------------------------------

void SyncController::Shutdown() {
    if (shuttingDown_.exchange(true)) {
        return;
    }
    cancel_->store(true);
    InterruptRequests(cancel_.get());
    if (questions_.cancelOpen) {
        questions_.cancelOpen();
    }
    auto_.Stop();
    lists_.Stop();
    // The run never waits on this thread (its questions give way to the cancel); a run stuck
    // in a wait nothing can cut short is left to end by itself.
    reaper_.Retire(std::move(worker_));
    busy_.store(false);
    starting_.store(false);
    reaper_.JoinAll(kShutdownGrace);
}

}  // namespace tavrin
