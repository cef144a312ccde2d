#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <cstddef>
#include <functional>
#include <map>

#include "settings/settings_record.h"
#include "ui/change_watchers.h"
#include "ui/project_lists.h"
#include "ui/sync_worker.h"
#include "ui/thread_reaper.h"

namespace tavrin {

// Auto-sync: one watcher per watched server on its change feed, and every change reported
// but not synced yet, kept until an automatic run has synced its server. A change waits for
// its server's list, for the game folder (a drive not mounted yet) and, unless the player lets
// syncs run under the game, until the game is closed; both are checked every 2 s. A failed run
// leaves its changes pending and is tried again after 30 s, or at once when the server's feed
// answers again.
class AutoSync final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AutoSync)
public:
    // What auto-sync asks of the controller that runs the syncs.
    struct Runs {
        std::function<bool()> busy;
        std::function<void(const QString& reason)> request;  // an automatic run
    };

    AutoSync(SettingsRecord& settings, ProjectLists& lists, const QString& clientId,
             ThreadReaper& reaper, Runs runs);

    // The projects auto-sync keeps in step: its own, else the project section's ticks.
    QStringList Selection() const;
    // Restarts the watchers for the current settings; with `initialRun`, auto-sync has just
    // come on (at start or in the settings) and owes one run.
    void Apply(bool initialRun);
    void SetActive(bool active);
    // Restarts the watchers when the servers or projects they follow have changed.
    void RestartWatchers();
    void OnServerChanged(const QString& serverUrl, quint64 revision, const QString& reason);
    // Starts the automatic run that pending changes are owed, once it can.
    void RunPending(const QString& reason);
    void WaitForGameFolder(const QString& folder);
    // Whether a run now would meet the game running, with the player's guard on.
    bool GameHoldsRuns() const;
    // An automatic request met a run: one more run follows it.
    void AskFollowUp() { followUpRequested_ = true; }
    // A run starts; an automatic one settles the changes pending now.
    void RunStarting(bool automatic);
    // An automatic run ended: the revisions its completed servers were synced to are stored.
    // True when one was.
    bool RecordSynced(const SyncOutcome& outcome);
    // What follows a run: the next one for changes it did not cover, or, after a failed
    // automatic run, a retry in 30 s.
    void AfterRun(bool ok, bool automatic);
    // The program is quitting: watchers and timers stop for good.
    void Stop();

    int RunningWatchers() const { return watchers_.Running(); }
    bool WaitingForGameFolder() const { return waitingForFolder_; }
    bool WaitingForGame() const { return waitingForGame_; }
    // What auto-sync waits for, as the badge says it; empty when it waits for nothing.
    QString WaitingText() const;
    // Paused from the tray: automatic runs wait, changes stay pending. `minutes` 0: until
    // resumed. Kept in the settings, so a pause outlives a restart.
    void Pause(int minutes);
    void Resume();
    bool Paused() const;
    std::size_t PendingCount() const { return pending_.size(); }

signals:
    void StateChanged();
    void SettingsChanged();
    void LogLine(const QString& line);

private:
    struct PendingChange {
        quint64 revision = 0;
        QString reason;
    };
    void OweInitialRun();
    quint64 KnownRevision(const QString& key) const;
    std::vector<WatchedServer> WatchedServers(QString& signature) const;
    bool HasRunnablePending() const;
    void CheckGameFolder();
    void WaitForGame();
    void ArmPauseEnd();
    void StopWaiting();
    void OnFeedAnsweredAgain(const QString& serverUrl);

    SettingsRecord& settings_;
    ProjectLists& lists_;
    Runs runs_;
    bool stopped_ = false;
    bool followUpRequested_ = false;
    bool waitingForFolder_ = false;
    bool waitingForGame_ = false;
    std::map<QString, PendingChange> pending_;  // by server URL in lower case
    std::map<QString, PendingChange> pendingAtRunStart_;
    QString watchSignature_;
    QTimer folderTimer_;
    QTimer retryTimer_;  // changes a failed automatic run left pending
    QTimer pauseTimer_;  // the end of a pause for a time
    ChangeWatchers watchers_;
};

}  // namespace tavrin
