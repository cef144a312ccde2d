#include "ui/auto_sync.h"

#include <QDir>
#include <algorithm>
#include <optional>

#include "desktop/settings_hooks.h"
#include "settings/project_entry.h"
#include "sync/game_process.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kFolderCheckMs = 2000;  // the game folder's return, and the game's end
constexpr int kPendingRetryMs = 30000;

QString KeyOf(const QString& url) {
    return url.trimmed().toLower();
}

QString ServerOfKey(const QString& key) {
    return key.section(QLatin1Char('|'), 0, 0).trimmed().toLower();
}

}  // namespace

AutoSync::AutoSync(SettingsRecord& settings, ProjectLists& lists, const QString& clientId,
                   ThreadReaper& reaper, Runs runs)
    : settings_(settings),
      lists_(lists),
      runs_(std::move(runs)),
      watchers_(this, clientId.toStdWString(), reaper,
                {[this](const QString& url, std::uint64_t revision, const QString& reason) {
                     OnServerChanged(url, revision, reason);
                 },
                 [this](const QString& url) { OnFeedAnsweredAgain(url); },
                 [this](const QString& line) { emit LogLine(line); }}) {
    folderTimer_.setInterval(kFolderCheckMs);
    retryTimer_.setSingleShot(true);
    retryTimer_.setInterval(kPendingRetryMs);
    connect(&retryTimer_, &QTimer::timeout, this,
            [this] { RunPending(Text("reason.sync_follow_up_after_change")); });
    connect(&folderTimer_, &QTimer::timeout, this, [this] { CheckGameFolder(); });
    pauseTimer_.setSingleShot(true);
    connect(&pauseTimer_, &QTimer::timeout, this, [this] { Resume(); });
}

QStringList AutoSync::Selection() const {
    return !settings_.autoSyncProjects.isEmpty() ? settings_.autoSyncProjects
                                                 : settings_.selectedProjects;
}

void AutoSync::Apply(bool initialRun) {
    if (!settings_.autoSyncEnabled) {
        pending_.clear();
        StopWaiting();
    }
    if (settings_.autoSyncEnabled && initialRun) {
        OweInitialRun();
    }
    ArmPauseEnd();
    watchSignature_.clear();  // the selection may be the same, the revisions are not
    RestartWatchers();
    emit StateChanged();
    if (!pending_.empty()) {
        QTimer::singleShot(0, this, [this] { RunPending(QString()); });
    }
}

// Auto-sync's first run is owed to every server it watches, as if each had reported a change:
// a server that cannot be reached now gets it when its list is back.
void AutoSync::OweInitialRun() {
    std::map<QString, PendingChange> owed;
    for (const ServerWorkItem& item :
         BuildServerWorkItems(SelectedServers(settings_), Selection())) {
        const QString key = KeyOf(item.serverUrl);
        const auto pending = pending_.find(key);
        owed[key] = pending != pending_.end()
                        ? pending->second
                        : PendingChange{KnownRevision(key), Text("reason.initial_sync")};
    }
    pending_ = std::move(owed);  // servers no longer watched owe nothing
}

quint64 AutoSync::KnownRevision(const QString& key) const {
    const auto known = settings_.autoSyncRevisions.find(key);
    return known != settings_.autoSyncRevisions.end() ? known->second : 0;
}

void AutoSync::SetActive(bool active) {
    settings_.autoSyncEnabled = active;
    if (!active) {
        StopWaiting();
    }
    emit StateChanged();
    emit SettingsChanged();
}

// Watchers start from the revision synced last, or from one reported and still pending. A
// restart with the same servers and projects keeps the running ones.
void AutoSync::RestartWatchers() {
    QString signature;
    const std::vector<WatchedServer> servers = WatchedServers(signature);
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
        emit LogLine(Text("log.warning_with_details").arg(error));
    }
}

// The servers to watch, with a text naming them, their projects and revisions.
std::vector<WatchedServer> AutoSync::WatchedServers(QString& signature) const {
    std::vector<WatchedServer> servers;
    if (!settings_.autoSyncEnabled || stopped_) {
        return servers;
    }
    for (const ServerWorkItem& item :
         BuildServerWorkItems(SelectedServers(settings_), Selection())) {
        WatchedServer server{item.serverName, item.serverUrl, item.projects, 0};
        const QString key = KeyOf(item.serverUrl);
        const auto pending = pending_.find(key);
        server.revision = pending != pending_.end() ? pending->second.revision : KnownRevision(key);
        signature += item.serverName + QLatin1Char('\n') + key + QLatin1Char('\n') +
                     QString::number(server.revision) + QLatin1Char('\n');
        for (const std::string& project : item.projects) {
            signature += QString::fromStdString(project) + QLatin1Char('\t');
        }
        signature += QLatin1Char('\n');
        servers.push_back(std::move(server));
    }
    return servers;
}

void AutoSync::OnServerChanged(const QString& serverUrl, quint64 revision, const QString& reason) {
    if (stopped_ || !settings_.autoSyncEnabled) {
        return;
    }
    // A server that owes a run already keeps the reason it owes it for.
    PendingChange& change = pending_[KeyOf(serverUrl)];
    change.revision = revision;
    if (change.reason.isEmpty()) {
        change.reason = reason;
    }
    if (runs_.busy()) {
        emit LogLine(Text("log.auto_sync_change_queued"));
        return;
    }
    RunPending(change.reason);
}

void AutoSync::OnFeedAnsweredAgain(const QString& serverUrl) {
    lists_.Retry(serverUrl);  // a server that answers again has its list again
    RunPending(QString());    // and what a failed run left pending is synced now
}

bool AutoSync::HasRunnablePending() const {
    const QStringList selection = Selection();
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
void AutoSync::RunPending(const QString& reason) {
    if (stopped_ || !settings_.autoSyncEnabled || runs_.busy() || Paused()) {
        return;  // a run's end, or the pause's, looks again
    }
    if (pending_.empty() && !followUpRequested_) {
        return;
    }
    const QString target = QDir::toNativeSeparators(settings_.targetPath.trimmed());
    if (FolderIsAbsent(target)) {
        WaitForGameFolder(target);
        return;
    }
    if (GameHoldsRuns()) {
        WaitForGame();
        return;
    }
    if (!HasRunnablePending()) {
        return;
    }
    QString why = reason;
    if (why.isEmpty() && !pending_.empty()) {
        why = pending_.begin()->second.reason;
    }
    runs_.request(why);
}

void AutoSync::WaitForGameFolder(const QString& folder) {
    if (waitingForFolder_) {
        return;
    }
    waitingForFolder_ = true;
    emit LogLine(Text("log.auto_sync_waiting_for_game_folder").arg(folder));
    emit StateChanged();
    folderTimer_.start();
}

bool AutoSync::GameHoldsRuns() const {
    return !settings_.syncWhileGameRunning &&
           IsGameRunning(QDir::toNativeSeparators(settings_.targetPath.trimmed()).toStdWString());
}

QString AutoSync::WaitingText() const {
    if (!settings_.autoSyncEnabled) {
        return {};
    }
    if (Paused()) {
        return settings_.autoSyncPausedUntilResumed
                   ? Text("badge.auto_sync_paused")
                   : Text("badge.auto_sync_paused_until")
                         .arg(settings_.autoSyncPausedUntil.toLocalTime().toString(
                             QStringLiteral("HH:mm")));
    }
    if (waitingForFolder_) {
        return Text("badge.auto_sync_waiting_for_game_folder");
    }
    return waitingForGame_ ? Text("badge.auto_sync_waiting_for_game") : QString();
}

bool AutoSync::Paused() const {
    return settings_.autoSyncPausedUntilResumed ||
           (settings_.autoSyncPausedUntil.isValid() &&
            QDateTime::currentDateTimeUtc() < settings_.autoSyncPausedUntil);
}

void AutoSync::Pause(int minutes) {
    settings_.autoSyncPausedUntilResumed = minutes <= 0;
    settings_.autoSyncPausedUntil =
        minutes <= 0 ? QDateTime() : QDateTime::currentDateTimeUtc().addSecs(minutes * 60LL);
    StopWaiting();
    ArmPauseEnd();
    emit LogLine(minutes <= 0 ? Text("log.auto_sync_paused")
                              : Text("log.auto_sync_paused_until")
                                    .arg(settings_.autoSyncPausedUntil.toLocalTime().toString(
                                        QStringLiteral("HH:mm"))));
    emit StateChanged();
    emit SettingsChanged();
}

void AutoSync::Resume() {
    const bool wasPaused =
        settings_.autoSyncPausedUntilResumed || settings_.autoSyncPausedUntil.isValid();
    settings_.autoSyncPausedUntilResumed = false;
    settings_.autoSyncPausedUntil = QDateTime();
    pauseTimer_.stop();
    if (!wasPaused) {
        return;
    }
    emit LogLine(Text("log.auto_sync_resumed"));
    emit StateChanged();
    emit SettingsChanged();
    RunPending(Text("reason.auto_sync_resumed"));
}

// A pause for a time ends by itself, also one that outlived a restart.
void AutoSync::ArmPauseEnd() {
    pauseTimer_.stop();
    if (settings_.autoSyncPausedUntilResumed || !settings_.autoSyncPausedUntil.isValid()) {
        return;
    }
    const qint64 left = QDateTime::currentDateTimeUtc().msecsTo(settings_.autoSyncPausedUntil);
    pauseTimer_.start(static_cast<int>(std::clamp<qint64>(left, 0, 24LL * 3600 * 1000)));
}

// Automatic runs wait while the game runs; their changes stay pending. Said once a wait.
void AutoSync::WaitForGame() {
    if (waitingForGame_) {
        return;
    }
    waitingForGame_ = true;
    emit LogLine(Text("log.auto_sync_waiting_for_game"));
    emit StateChanged();
    folderTimer_.start();
}

void AutoSync::StopWaiting() {
    waitingForFolder_ = false;
    waitingForGame_ = false;
    folderTimer_.stop();
}

void AutoSync::CheckGameFolder() {
    if (!settings_.autoSyncEnabled || stopped_) {
        StopWaiting();
        return;
    }
    const QString target = QDir::toNativeSeparators(settings_.targetPath.trimmed());
    if (FolderIsAbsent(target)) {
        return;
    }
    if (waitingForFolder_) {
        waitingForFolder_ = false;
        emit StateChanged();
        emit LogLine(Text("log.auto_sync_game_folder_back").arg(target));
    }
    if (GameHoldsRuns()) {
        WaitForGame();  // goes on waiting, or starts to once the folder is back
        return;
    }
    const bool gameWasRunning = waitingForGame_;
    StopWaiting();
    emit StateChanged();
    RunPending(Text(gameWasRunning ? "reason.game_closed" : "reason.game_folder_available"));
}

void AutoSync::RunStarting(bool automatic) {
    followUpRequested_ = false;
    pendingAtRunStart_ = automatic ? pending_ : std::map<QString, PendingChange>{};
}

// Every change up to the revision read before a server was synced is in the game folder now;
// a change reported after it stays pending. The watchers go on from what was synced; whatever
// the old ones still had to say about revisions up to it is dropped with them.
bool AutoSync::RecordSynced(const SyncOutcome& outcome) {
    bool changed = false;
    for (const ServerOutcome& server : outcome.servers) {
        if (!server.completed) {
            continue;
        }
        const auto pending = pending_.find(server.url);
        const auto atStart = pendingAtRunStart_.find(server.url);
        const bool unchangedSinceStart = pending != pending_.end() &&
                                         atStart != pendingAtRunStart_.end() &&
                                         atStart->second.revision == pending->second.revision;
        std::optional<quint64> recorded = server.revision;
        if (!recorded && unchangedSinceStart) {
            recorded = pending->second.revision;
        }
        if (recorded) {
            settings_.autoSyncRevisions[server.url] = *recorded;
            changed = true;
        }
        if (pending != pending_.end() &&
            (unchangedSinceStart || (server.revision && pending->second.revision <= *recorded))) {
            pending_.erase(pending);
        }
    }
    RestartWatchers();
    return changed;
}

// Changes reported during the run that it did not cover, and automatic requests that met the
// run, start the next one. A run that failed keeps its changes pending.
void AutoSync::AfterRun(bool ok, bool automatic) {
    if (stopped_ || !settings_.autoSyncEnabled || runs_.busy()) {
        return;
    }
    if (ok || !automatic) {
        RunPending(Text("reason.sync_follow_up_after_change"));
    } else {
        retryTimer_.start();  // not at once: the fault is likely still there
    }
}

void AutoSync::Stop() {
    stopped_ = true;
    StopWaiting();
    pauseTimer_.stop();
    retryTimer_.stop();
    watchers_.Stop();
}

}  // namespace tavrin
