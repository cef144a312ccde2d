// The sync command: a request checked on the window's thread, one worker that runs the engine
// once per selected server, and the result handed back to the window.
#include <QCoreApplication>
#include <QDir>
#include <QMessageBox>
#include <QPointer>
#include <thread>

#include "i18n/translator.h"
#include "sync/path_safety.h"
#include "sync/progress_format.h"
#include "sync/sync_run.h"
#include "ui/tavrin_qt_window.h"
#include "ui/ui_text.h"

namespace tavrin {

namespace {

QString Number(std::uint64_t value) {
    return QString::number(value, 10);
}

// Runs `call` on the window's thread and waits for it; the window may be gone by then.
template <typename Call>
void AskWindowThread(Call call) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), call, Qt::BlockingQueuedConnection);
}

// What the worker needs of one server, gathered on the window's thread.
struct ServerJob {
    ServerWorkItem item;
    ProjectPasswords passwords;
};

}  // namespace

void TavrinQtWindow::WarnModally(const char* titleKey, const QString& text) {
    QMessageBox box(QMessageBox::Warning, Text(titleKey), text, QMessageBox::Ok, this,
                    Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.exec();
}

void TavrinQtWindow::RequestSync(bool automatic, const QString& reason) {
    if (shuttingDown_.load()) {
        return;
    }
    if (busy_.load() || starting_.load()) {
        if (automatic) {
            followUpPending_ = true;
        }
        return;  // a second press while a run is on is ignored
    }
    starting_.store(true);
    const std::vector<ServerEntry> servers = SelectedServers(settings_);
    if (servers.empty()) {
        starting_.store(false);
        if (!automatic) {
            WarnModally("title.server", Text("warn.select_at_least_one_server"));
        }
        return;
    }
    const QString target = QDir::toNativeSeparators(settings_.targetPath.trimmed());
    if (!IsUsableTargetFolder(target.toStdWString(), settings_.targetValidationEnabled)) {
        starting_.store(false);
        if (automatic) {
            AppendLog(Text("log.auto_sync_skipped_no_target"), false);
            SetAutoSyncActive(false);
            RestartAutoSync(false);
        } else {
            WarnModally("title.target_folder", Text("warn.set_target_folder_first"));
        }
        return;
    }
    if (projectEntries_.empty()) {
        starting_.store(false);
        return;
    }
    QStringList selection = automatic && !settings_.autoSyncProjects.isEmpty()
                                ? settings_.autoSyncProjects
                                : CheckedProjectKeys();
    if (selection.isEmpty()) {
        starting_.store(false);
        if (automatic) {
            AppendLog(Text("log.auto_sync_skipped_no_projects"), false);
        } else {
            WarnModally("title.projects", Text("warn.select_at_least_one_project"));
        }
        return;
    }
    // Outcomes of earlier prompts must not skip a project for ever.
    passwordPromptAnswered_.clear();
    passwordPromptAnswers_.clear();
    if (!CheckSelectionPasswords(selection, automatic)) {
        starting_.store(false);
        if (automatic) {
            AppendLog(Text("log.auto_sync_skipped_invalid_project_selection"), false);
        } else {
            WarnModally("title.projects", Text("warn.invalid_project_selection"));
        }
        return;
    }
    std::vector<ServerWorkItem> items = BuildServerWorkItems(servers, selection);
    if (items.empty()) {
        starting_.store(false);
        return;
    }
    StartSync(automatic, reason, target, selection, std::move(items));
}

void TavrinQtWindow::StartSync(bool automatic, const QString& reason, const QString& targetPath,
                               const QStringList& selection, std::vector<ServerWorkItem> items) {
    followUpPending_ = false;
    lastRunSelection_ = selection;
    cancelRequested_.store(false);
    cancelShown_ = false;
    progressRunning_ = true;
    runStarted_ = std::chrono::steady_clock::now();
    remaining_ =
        RemainingTimeEstimator({settings_.downloadBytesPerSecond, settings_.downloadFilesPerSecond,
                                settings_.compareFilesPerSecond});
    busy_.store(true);
    starting_.store(false);
    ResetProgress();
    UpdateCommandStates();
    if (!automatic) {
        AppendLog(Text("log.sync_started"), false);
    } else if (reason.trimmed().isEmpty()) {
        AppendLog(Text("log.auto_sync_started"), false);
    } else {
        AppendLog(Text("log.auto_sync_started_with_reason").arg(reason.trimmed()), false);
    }

    std::vector<ServerJob> jobs;
    for (ServerWorkItem& item : items) {
        ServerJob job{std::move(item), {}};
        for (const std::string& project : job.item.projects) {
            const QString password = settings_.projectPasswords.value(
                PasswordKey(job.item.serverUrl, QString::fromStdString(project)));
            if (!password.isEmpty()) {
                job.passwords[project] = password.toStdWString();
            }
        }
        jobs.push_back(std::move(job));
    }

    const QPointer<TavrinQtWindow> self(this);
    InstallProgressSinks(
        [self](const std::wstring& line) {
            const QString text = QString::fromStdWString(line);
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [self, text] {
                    if (self != nullptr) {
                        self->AppendLog(text, false);
                    }
                },
                Qt::QueuedConnection);
        },
        [self](const ProgressMessage& message) {
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [self, message] {
                    if (self != nullptr) {
                        self->ShowProgress(message);
                    }
                },
                Qt::QueuedConnection);
        });

    const std::wstring clientId = clientId_.toStdWString();
    const std::wstring target = targetPath.toStdWString();
    syncWorkerDone_.store(false);
    syncThread_ = std::thread([self, jobs, clientId, target, automatic, cancel = &cancelRequested_,
                               done = &syncWorkerDone_] {
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
            PostLog(Text("log.syncing_server").arg(job.item.serverName).toStdWString());
            ServerSyncRequest request;
            request.serverUrl = job.item.serverUrl.toStdWString();
            request.clientId = clientId;
            request.projects = job.item.projects;
            request.passwords = job.passwords;
            request.targetFolder = target;
            request.cancelFlag = cancel;
            const QString serverUrl = job.item.serverUrl;
            const QString serverName = job.item.serverName;
            request.prompt.ask = [self, serverUrl, serverName](const std::string& project,
                                                               bool retry, std::wstring& password) {
                bool answered = false;
                AskWindowThread([&] {
                    if (self == nullptr || self->IsShuttingDown()) {
                        return;
                    }
                    QString text;
                    ProjectEntry entry{serverName, serverUrl, project, {}, true};
                    answered = self->PromptProjectPassword(entry, retry, text);
                    password = text.toStdWString();
                });
                return answered;
            };
            request.prompt.remember = [self, serverUrl](const std::string& project,
                                                        const std::wstring& password) {
                AskWindowThread([&] {
                    if (self != nullptr) {
                        self->RememberProjectPassword(serverUrl, QString::fromStdString(project),
                                                      QString::fromStdWString(password));
                    }
                });
            };
            SyncRunResult result;
            if (!RunServerSync(request, result, error)) {
                ok = false;
                break;
            }
            ++serversDone;
            totals.filesListed += result.filesListed;
            totals.filesUpToDate += result.filesUpToDate;
            totals.filesDownloaded += result.filesDownloaded;
            totals.bytesDownloaded += result.bytesDownloaded;
        }
        SyncOutcome outcome;
        outcome.ok = ok;
        outcome.automatic = automatic;
        if (ok) {
            outcome.message =
                Text("log.sync_summary")
                    .arg(Number(serversDone), Number(totals.filesListed),
                         Number(totals.filesUpToDate), Number(totals.filesDownloaded),
                         Number(totals.bytesDownloaded),
                         QString::fromStdWString(FormatBytes(totals.bytesDownloaded)));
        } else {
            outcome.message =
                error.empty() ? Text("error.sync_failed_default") : QString::fromStdWString(error);
        }
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, outcome] {
                // A window that is shutting down has stopped the run itself: no summary, no
                // box asking to be answered on the way out.
                if (self != nullptr && !self->IsShuttingDown()) {
                    self->OnSyncFinished(outcome);
                }
            },
            Qt::QueuedConnection);
        done->store(true);
    });
}

void TavrinQtWindow::OnSyncFinished(const SyncOutcome& outcome) {
    if (syncThread_.joinable()) {
        syncThread_.join();
    }
    InstallProgressSinks(nullptr, nullptr);
    busy_.store(false);
    cancelRequested_.store(false);
    cancelShown_ = false;
    progressRunning_ = false;
    const ThroughputRates blended = RemainingTimeEstimator::Blend(
        {settings_.downloadBytesPerSecond, settings_.downloadFilesPerSecond,
         settings_.compareFilesPerSecond},
        remaining_.Live());
    settings_.downloadBytesPerSecond = blended.downloadBytesPerSecond;
    settings_.downloadFilesPerSecond = blended.downloadFilesPerSecond;
    settings_.compareFilesPerSecond = blended.compareFilesPerSecond;
    AppendLog(outcome.message, false);
    ResetProgress();
    ScheduleSettingsSave();
    if (!outcome.ok && !outcome.automatic) {
        QMessageBox box(QMessageBox::Critical, Text("title.sync"), outcome.message, QMessageBox::Ok,
                        this, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.exec();
    }
    UpdateCommandStates();
    if (listsStaleAfterRun_) {
        listsStaleAfterRun_ = false;
        RefreshProjectLists(true);
    }
    if (settings_.autoSyncEnabled && followUpPending_ && !busy_.load()) {
        followUpPending_ = false;
        RequestSync(true, Text("reason.sync_follow_up_after_change"));
    }
}

void TavrinQtWindow::CancelSync() {
    if (!busy_.load()) {
        return;
    }
    cancelRequested_.store(true);
    cancelShown_ = true;
    ResetProgress();
    AppendLog(Text("log.cancel_requested"), false);
}

}  // namespace tavrin
