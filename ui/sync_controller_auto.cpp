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

constexpr int kListRetrySeconds[] = {5, 10, 20, 40, 60};

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
        loader_.CancelAll();
        ++listEpoch_;
        lists_.clear();
        listOrder_.clear();
        listSignature_.clear();
        emit ListsCleared();
        RestartWatchers();
        return;
    }
    const QString signature = ServerSetSignature(servers);
    if (!force && signature == listSignature_) {
        return;
    }
    listSignature_ = signature;
    loader_.CancelAll();
    loads_.clear();
    ++listEpoch_;
    lists_.clear();
    listOrder_.clear();
    for (const ServerEntry& server : servers) {
        listOrder_.push_back(KeyOf(server.url));
        lists_[KeyOf(server.url)].server = server;
    }
    emit ListsLoading();
    LoadLists(servers, requestedByPlayer, false);
    RestartWatchers();
}

void SyncController::LoadLists(const std::vector<ServerEntry>& servers, bool requestedByPlayer,
                               bool retry) {
    const std::uint64_t load = ++loadCounter_;
    for (const ServerEntry& server : servers) {
        ServerListState& state = lists_[KeyOf(server.url)];
        state.load = load;
        state.stage = ServerListState::Stage::loading;
    }
    QString error;
    if (!loader_.Load(load, servers, error)) {
        // No thread to load with: the servers count as failed and are tried again later.
        std::vector<ServerProjects> answers;
        for (const ServerEntry& server : servers) {
            answers.push_back({server, false, {}, error});
        }
        loads_[load] = {requestedByPlayer, retry, false, {}};
        QTimer::singleShot(0, this, [this, load, answers] { OnListsLoaded(load, answers); });
        return;
    }
    loads_[load] = {requestedByPlayer, retry, false, {}};
}

void SyncController::OnListsLoaded(std::uint64_t load, const std::vector<ServerProjects>& answers) {
    loader_.Finished(load);
    const auto found = loads_.find(load);
    if (found == loads_.end() || shuttingDown_.load()) {
        return;  // a newer refresh has replaced it
    }
    ListsOutcome outcome = found->second;
    loads_.erase(found);
    for (const ServerProjects& answer : answers) {
        const auto state = lists_.find(KeyOf(answer.server.url));
        if (state == lists_.end() || state->second.load != load) {
            continue;
        }
        if (answer.loaded) {
            state->second.stage = ServerListState::Stage::loaded;
            state->second.entries = answer.entries;
            state->second.failures = 0;
            state->second.error.clear();
            continue;
        }
        state->second.stage = ServerListState::Stage::failed;
        state->second.entries.clear();
        state->second.error = answer.error;
        ++state->second.failures;
        outcome.warnings << answer.error;
        ScheduleListRetry(state->first);
    }
    outcome.anyLoaded = AnyListLoaded();
    emit ListsLoaded(outcome);
    RunPending(QString());
}

void SyncController::ScheduleListRetry(const QString& key) {
    const ServerListState& state = lists_.at(key);
    const int step = std::min<int>(state.failures, std::size(kListRetrySeconds)) - 1;
    const int seconds = kListRetrySeconds[std::max(step, 0)];
    if (state.failures == 1) {  // the placeholder tells the rest; the log is not flooded
        Log(Text("log.project_list_retry").arg(state.error).arg(seconds));
    }
    QTimer::singleShot(seconds * 1000, this,
                       [this, key, epoch = listEpoch_, failures = state.failures] {
                           const auto found = lists_.find(key);
                           if (epoch == listEpoch_ && found != lists_.end() &&
                               found->second.failures == failures) {
                               RetryList(key);
                           }
                       });
}

void SyncController::RetryList(const QString& key) {
    const auto state = lists_.find(key);
    if (shuttingDown_.load() || state == lists_.end() ||
        state->second.stage != ServerListState::Stage::failed) {
        return;
    }
    LoadLists({state->second.server}, false, true);
}

void SyncController::OnFeedAnsweredAgain(const QString& serverUrl) {
    RetryList(KeyOf(serverUrl));  // a server that answers again has its list again
    RunPending(QString());        // and what a failed run left pending is synced now
}

std::vector<ProjectEntry> SyncController::ProjectEntries() const {
    std::vector<ProjectEntry> entries;
    for (const QString& key : listOrder_) {
        const auto state = lists_.find(key);
        if (state != lists_.end() && state->second.stage == ServerListState::Stage::loaded) {
            entries.insert(entries.end(), state->second.entries.begin(),
                           state->second.entries.end());
        }
    }
    return entries;
}

bool SyncController::AnyListLoaded() const {
    return std::any_of(lists_.begin(), lists_.end(), [](const auto& item) {
        return item.second.stage == ServerListState::Stage::loaded;
    });
}

bool SyncController::ListLoaded(const QString& serverUrl) const {
    const ServerListState* state = ListState(serverUrl);
    return state != nullptr && state->stage == ServerListState::Stage::loaded;
}

const ServerListState* SyncController::ListState(const QString& serverUrl) const {
    const auto state = lists_.find(KeyOf(serverUrl));
    return state == lists_.end() ? nullptr : &state->second;
}

QStringList SyncController::KeysOfServersWithoutList(const QStringList& keys) const {
    QStringList kept;
    for (const QString& key : keys) {
        if (!ListLoaded(ServerOfKey(key))) {
            kept << key;
        }
    }
    return kept;
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
        return std::any_of(lists_.begin(), lists_.end(), [&](const auto& item) {
            return item.second.stage == ServerListState::Stage::loaded && watched(item.first);
        });
    }
    return std::any_of(pending_.begin(), pending_.end(), [&](const auto& item) {
        return ListLoaded(item.first) && watched(item.first);
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
