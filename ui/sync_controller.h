#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "desktop/settings_hooks.h"
#include "settings/project_entry.h"
#include "settings/settings_record.h"
#include "sync/progress.h"
#include "ui/auto_sync.h"
#include "ui/project_list_loader.h"
#include "ui/project_lists.h"
#include "ui/sync_worker.h"
#include "ui/thread_reaper.h"

namespace tavrin {

// Why a sync request did not start a run.
enum class SyncRefusal {
    none,  // a run started
    shuttingDown,
    busy,              // a run is on; an automatic request becomes a follow-up
    noServer,          // no server selected
    noTarget,          // the game folder fails its check
    waitingForFolder,  // the game folder does not exist (yet): automatic runs wait for it
    noLists,           // no project list is loaded
    noProjects,        // nothing selected
    passwordCancelled,
    nothingToSync,
    threadFailed,  // the worker could not be started
};

// The warning a refusal of the player's own request shows: false for one that shows none.
bool RefusalWarning(SyncRefusal refusal, const char*& titleKey, const char*& textKey);

// The dialogs a run needs, supplied by the window (or by a test).
struct PasswordQuestions {
    // Asks on the window's thread, modally: true with the password.
    std::function<bool(const ProjectEntry& entry, bool retry, QString& password)> ask;
    // Forgets the outcomes of earlier prompts (at the start of every run).
    std::function<void()> forgetOutcomes;
    // Closes every open prompt as cancelled (shutting down).
    std::function<void()> cancelOpen;
};

// The window's work without its widgets: it owns every thread the window has (the sync worker,
// the project-list loads, one change watcher per server, the reaper), the cancel and
// shutting-down flags, and every piece of pending work: changes reported but not yet synced,
// lists that failed and are asked for again, a folder that is not there yet. The window calls
// it and shows what it signals; faults of a player's day are recovered here.
class SyncController final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SyncController)
public:
    SyncController(SettingsRecord& settings, QString clientId, QObject* parent = nullptr);
    ~SyncController() override;

    void SetPasswordQuestions(PasswordQuestions questions) { questions_ = std::move(questions); }

    // Project lists: loaded per selected server; a server that fails is asked again after 5,
    // 10, 20, 40 s and then every 60 s, and at once when its change feed answers again.
    void RefreshProjectLists(bool force, bool requestedByPlayer);
    std::vector<ProjectEntry> ProjectEntries() const { return lists_.Entries(); }
    bool AnyListLoaded() const { return lists_.AnyLoaded(); }
    bool ListLoaded(const QString& serverUrl) const { return lists_.IsLoaded(serverUrl); }
    const ServerListState* ListState(const QString& serverUrl) const {
        return lists_.State(serverUrl);
    }
    // The keys among `keys` whose server has no list on show: ticks that must survive it.
    QStringList KeysOfServersWithoutList(const QStringList& keys) const {
        return lists_.KeysOfServersWithoutList(keys);
    }

    // Runs. A manual run syncs `checkedKeys`; an automatic one the auto-sync selection.
    SyncRefusal RequestSync(bool automatic, const QString& reason,
                            const QStringList& checkedKeys = {});
    void CancelSync();
    bool IsBusy() const { return busy_.load() || starting_.load(); }
    bool CancelRequested() const { return cancel_->load(); }
    // Whether the player's download limit holds the running downloads back.
    bool DownloadLimitHolding() const { return limit_ != nullptr && limit_->Holding(); }

    // Auto-sync.
    QStringList AutoSyncSelection() const { return auto_.Selection(); }
    // Restarts the watchers for the current settings; with `initialRun`, auto-sync has just
    // come on (at start or in the settings) and owes one run.
    void ApplyAutoSync(bool initialRun) { auto_.Apply(initialRun); }
    void SetAutoSyncActive(bool active) { auto_.SetActive(active); }
    // A change reported by a watcher (the window's tests call it too).
    void OnServerChanged(const QString& serverUrl, quint64 revision, const QString& reason);
    // Restarts the watchers when the servers or projects they follow have changed.
    void RestartWatchers() { auto_.RestartWatchers(); }
    int RunningWatchers() const { return auto_.RunningWatchers(); }
    bool WaitingForGameFolder() const { return auto_.WaitingForGameFolder(); }
    bool WaitingForGame() const { return auto_.WaitingForGame(); }
    QString AutoSyncWaitingText() const { return auto_.WaitingText(); }
    bool AutoSyncPaused() const { return auto_.Paused(); }
    void PauseAutoSync(int minutes) { auto_.Pause(minutes); }
    void ResumeAutoSync() { auto_.Resume(); }
    // Whether the game folder may be synced into, with the check as the player set it.
    bool TargetUsable() const;
    bool GameHoldsRuns() const { return auto_.GameHoldsRuns(); }
    std::size_t PendingChanges() const { return auto_.PendingCount(); }

    // Passwords remembered for a project (an empty one forgets it).
    void RememberProjectPassword(const QString& serverUrl, const QString& project,
                                 const QString& password);

    // Ends every thread: open prompts are cancelled, polls and list loads cut short, the run
    // cancelled and joined. Runs once.
    void Shutdown();
    bool IsShuttingDown() const { return shuttingDown_.load(); }

signals:
    void LogLine(const QString& text);
    void ProgressReported(const tavrin::ProgressMessage& message);
    void RunStarted(bool automatic);
    void RunFinished(bool ok, bool automatic, const QString& message);
    void ListsLoading();
    void ListsCleared();  // no server selected
    void ListsLoaded(const tavrin::ListsOutcome& outcome);
    void AutoSyncStateChanged();
    void SettingsChanged();   // a full save is due
    void RevisionsChanged();  // a save of the revisions is due

private:
    bool CheckSelectionPasswords(const QStringList& selection, bool automatic);
    const ProjectEntry* FindProjectEntry(const QString& key) const;
    SyncRefusal PrepareRun(bool automatic, const QString& target, const QStringList& checkedKeys,
                           std::vector<ServerWorkItem>& items);
    SyncRefusal RefuseUnusableFolder(bool automatic, const QString& target);
    SyncRefusal RefuseSelection(bool automatic, const QStringList& selection);
    SyncRefusal StartSync(bool automatic, const QString& reason, const QString& target,
                          std::vector<ServerWorkItem> items);
    using Guard = std::shared_ptr<const QPointer<SyncController>>;
    std::vector<ServerJob> JobsFor(std::vector<ServerWorkItem> items) const;
    void LogRunStart(bool automatic, const QString& reason);
    static ProgressSinks SinksFor(const Guard& self);
    WorkerQuestions QuestionsFor(const Guard& self) const;
    bool AskFromWorker(const ProjectEntry& entry, bool retry, QString& password,
                       const std::shared_ptr<std::atomic<bool>>& cancel);
    void OnSyncFinished(const SyncOutcome& outcome);
    void Log(const QString& line) { emit LogLine(line); }

    SettingsRecord& settings_;
    QString clientId_;
    PasswordQuestions questions_;

    std::atomic<bool> busy_{false};
    std::atomic<bool> starting_{false};
    // Shared with the run, which may outlive the controller when a quit leaves it behind.
    std::shared_ptr<std::atomic<bool>> cancel_ = std::make_shared<std::atomic<bool>>(false);
    std::atomic<bool> shuttingDown_{false};
    std::shared_ptr<RateLimit> limit_;  // the running run's, shared with its worker
    bool listsStaleAfterRun_ = false;

    ThreadReaper reaper_;
    ProjectLists lists_;
    AutoSync auto_;
    TrackedThread worker_;
};

}  // namespace tavrin
