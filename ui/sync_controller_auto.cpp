// The controller's background work: project lists that come back by themselves, the change
// watchers, and pending changes that wait for their server's list and for the game folder.
#include <QDir>
#include <QTimer>
#include <algorithm>

#include "sync/path_safety.h"
#include "ui/sync_controller.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

QString KeyOf(const QString& url) {
    return url.trimmed().toLower();
}

QString ServerOfKey(const QString& key) {
    return key.section(QLatin1Char('|'), 0, 0).trimmed().toLower();
}

}  // namespace

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

void SyncController::OnFeedAnsweredAgain(const QString& serverUrl) {
    lists_.Retry(serverUrl);  // a server that answers again has its list again
    RunPending(QString());    // and what a failed run left pending is synced now
}

// ---- Auto-sync -----------------------------------------------------------------------------

void SyncController::ApplyAutoSync(bool initialRun) {
    if (!settings_.autoSyncEnabled) {
        pending_.clear();
        waitingForFolder_ = false;
        folderTimer_.stop();
    }
    if (settings_.autoSyncEnabled && initialRun) {
        OweInitialRun();
    }
    watchSignature_.clear();  // the selection may be the same, the revisions are not
    RestartWatchers();
    emit AutoSyncStateChanged();
    if (!pending_.empty()) {
        QTimer::singleShot(0, this, [this] { RunPending(QString()); });
    }
}

// Auto-sync's first run is owed to every server it watches, as if each had reported a change:
// a server that cannot be reached now gets it when its list is back.
void SyncController::OweInitialRun() {
    std::map<QString, PendingChange> owed;
    for (const ServerWorkItem& item :
         BuildServerWorkItems(SelectedServers(settings_), AutoSyncSelection())) {
        const QString key = KeyOf(item.serverUrl);
        const auto pending = pending_.find(key);
        owed[key] = pending != pending_.end()
                        ? pending->second
                        : PendingChange{KnownRevision(key), Text("reason.initial_sync")};
    }
    pending_ = std::move(owed);  // servers no longer watched owe nothing
}

quint64 SyncController::KnownRevision(const QString& key) const {
    const auto known = settings_.autoSyncRevisions.find(key);
    return known != settings_.autoSyncRevisions.end() ? known->second : 0;
}

void SyncController::SetAutoSyncActive(bool active) {
    settings_.autoSyncEnabled = active;
    if (!active) {
        waitingForFolder_ = false;
        folderTimer_.stop();
    }
    emit AutoSyncStateChanged();
    emit SettingsChanged();
}

// Watchers start from the revision synced last, or from one reported and still pending. A
// restart with the same servers and projects keeps the running ones.
void SyncController::RestartWatchers() {
    std::vector<WatchedServer> servers;
    QString signature;
    if (settings_.autoSyncEnabled && !shuttingDown_.load()) {
        for (const ServerWorkItem& item :
             BuildServerWorkItems(SelectedServers(settings_), AutoSyncSelection())) {
            WatchedServer server{item.serverName, item.serverUrl, item.projects, 0};
            const QString key = KeyOf(item.serverUrl);
            const auto pending = pending_.find(key);
            server.revision =
                pending != pending_.end() ? pending->second.revision : KnownRevision(key);
            signature += item.serverName + QLatin1Char('\n') + key + QLatin1Char('\n') +
                         QString::number(server.revision) + QLatin1Char('\n');
            for (const std::string& project : item.projects) {
                signature += QString::fromStdString(project) + QLatin1Char('\t');
            }
            signature += QLatin1Char('\n');
            servers.push_back(std::move(server));
        }
    }
    if (!watchSignature_.isNull() && signature == watchSignature_ &&
        watchers_.Running() == static_cast<int>(servers.size())) {
        return;
    }
    watchSignature_ = signature;
    watchers_.Stop();
    if (servers.empty()) {
        return;
    }
    QString error;
    if (!watchers_.Start(servers, error)) {
        Log(Text("log.warning_with_details").arg(error));
    }
}

void SyncController::OnServerChanged(const QString& serverUrl, quint64 revision,
                                     const QString& reason) {
    if (shuttingDown_.load() || !settings_.autoSyncEnabled) {
        return;
    }
    // A server that owes a run already keeps the reason it owes it for.
    PendingChange& change = pending_[KeyOf(serverUrl)];
    change.revision = revision;
    if (change.reason.isEmpty()) {
        change.reason = reason;
    }
    if (IsBusy()) {
        Log(Text("log.auto_sync_change_queued"));
        return;
    }
    RunPending(change.reason);
}

bool SyncController::HasRunnablePending() const {
    const QStringList selection = AutoSyncSelection();
    const auto watched = [&selection](const QString& url) {
        return std::any_of(selection.begin(), selection.end(),
                           [&url](const QString& key) { return ServerOfKey(key) == url; });
    };
    if (followUpRequested_) {
        return std::any_of(lists_.States().begin(), lists_.States().end(), [&](const auto& item) {
            return item.second.stage == ServerListState::Stage::loaded && watched(item.first);
        });
    }
    return std::any_of(pending_.begin(), pending_.end(), [&](const auto& item) {
        return lists_.IsLoaded(item.first) && watched(item.first);
    });
}

// Starts the automatic run that pending changes (or auto-sync's first run) are owed, as soon
// as a server with something pending has its list and the game folder is there.
void SyncController::RunPending(const QString& reason) {
    if (shuttingDown_.load() || !settings_.autoSyncEnabled) {
        return;
    }
    if (IsBusy()) {
        return;  // the run's end looks again
    }
    if (pending_.empty() && !followUpRequested_) {
        return;
    }
    const QString target = QDir::toNativeSeparators(settings_.targetPath.trimmed());
    if (FolderIsAbsent(target)) {
        WaitForGameFolder(target);
        return;
    }
    if (!HasRunnablePending()) {
        return;
    }
    QString why = reason;
    if (why.isEmpty() && !pending_.empty()) {
        why = pending_.begin()->second.reason;
    }
    RequestSync(true, why);
}

void SyncController::WaitForGameFolder(const QString& folder) {
    if (waitingForFolder_) {
        return;
    }
    waitingForFolder_ = true;
    Log(Text("log.auto_sync_waiting_for_game_folder").arg(folder));
    emit AutoSyncStateChanged();
    folderTimer_.start();
}

void SyncController::CheckGameFolder() {
    if (!settings_.autoSyncEnabled || shuttingDown_.load()) {
        folderTimer_.stop();
        waitingForFolder_ = false;
        return;
    }
    const QString target = QDir::toNativeSeparators(settings_.targetPath.trimmed());
    if (FolderIsAbsent(target)) {
        return;
    }
    folderTimer_.stop();
    waitingForFolder_ = false;
    emit AutoSyncStateChanged();
    Log(Text("log.auto_sync_game_folder_back").arg(target));
    RunPending(Text("reason.game_folder_available"));
}

}  // namespace tavrin
