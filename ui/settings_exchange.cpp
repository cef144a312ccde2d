// The window's side of the settings dialog: it fills the dialog from the settings record and,
// when the player accepts, takes the values back, saves them and brings the project lists and
// the auto-sync watchers in line.
#include <QDir>
#include <QSet>
#include <algorithm>

#include "desktop/autostart.h"
#include "net/server_endpoint.h"
#include "settings_dialog/settings_dialog.h"
#include "ui/sync_controller.h"
#include "ui/tavrin_qt_window.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

bool ContainsUrl(const std::vector<ServerEntry>& servers, const QString& url) {
    return std::any_of(servers.begin(), servers.end(), [&url](const ServerEntry& server) {
        return server.url.trimmed().compare(url.trimmed(), Qt::CaseInsensitive) == 0;
    });
}

bool SameKeys(const QStringList& a, const QStringList& b) {
    const auto keySet = [](const QStringList& keys) {
        QSet<QString> set;
        for (const QString& key : keys) {
            set.insert(NormalizedProjectKey(key).toLower());
        }
        return set;
    };
    return keySet(a) == keySet(b);
}

}  // namespace

void TavrinQtWindow::OpenSettingsDialog(const QString& tab) {
    if (settingsDialogOpen_ || IsShuttingDown()) {
        return;
    }
    SettingsDialogValues values;
    values.servers = settings_.servers;
    values.targetPath = settings_.targetPath;
    values.targetValidationEnabled = settings_.targetValidationEnabled;
    values.httpLockEnabled = settings_.httpLockEnabled;
    values.autostartEnabled = IsAutostartRegistered();
    values.autostartMode = settings_.autostartMode;
    values.autoSyncEnabled = settings_.autoSyncEnabled;
    // Auto-sync watches the ticked projects until it is given projects of its own.
    values.autoSyncProjects = AutoSyncSelection();

    SettingsDialog dialog(values, projectEntries_, this);
    connect(&dialog, &SettingsDialog::LanguageSwitched, this, [this](const QString& code) {
        settings_.language = code;
        Retranslate();
        ScheduleSettingsSave();
    });
    if (!tab.isEmpty()) {
        dialog.ShowTab(tab);
    }
    settingsDialogOpen_ = true;
    const int outcome = dialog.exec();
    settingsDialogOpen_ = false;
    if (outcome == QDialog::Accepted && !IsShuttingDown()) {
        TakeSettingsBack(dialog);
    }
}

// Servers that were selected stay selected; a server added or given a new address is
// selected, since the player has no other place to tick it. When nothing is left, the first
// server is, as when the settings are loaded.
QStringList TavrinQtWindow::SelectionAfterServerEdit(const std::vector<ServerEntry>& before) const {
    QStringList selection;
    for (const ServerEntry& server : settings_.servers) {
        const QString url = server.url.trimmed();
        if (url.isEmpty()) {
            continue;
        }
        if (!ContainsUrl(before, url) ||
            settings_.selectedDomains.contains(url, Qt::CaseInsensitive)) {
            selection << url;
        }
    }
    if (selection.isEmpty() && !settings_.servers.empty()) {
        selection << settings_.servers.front().url.trimmed();
    }
    selection.removeDuplicates();
    return selection;
}

QString TavrinQtWindow::SelectedServersSignature() const {
    return ServerSetSignature(SelectedServers(settings_));
}

// Ticks, passwords and revisions are kept under the server's address: an address the player
// changed takes them along.
void TavrinQtWindow::MoveKeysOfChangedUrls(const QHash<QString, QString>& changedUrls) {
    if (changedUrls.isEmpty()) {
        return;
    }
    const auto moveAll = [&changedUrls](QStringList& keys) {
        for (QString& key : keys) {
            key = MoveProjectKey(changedUrls, key);
        }
        keys.removeDuplicates();
    };
    moveAll(settings_.selectedProjects);
    moveAll(settings_.autoSyncProjects);
    // The lists on show move too, so that the ticks read from them carry the new address.
    for (ProjectEntry& entry : projectEntries_) {
        const QString moved = FollowChangedUrl(changedUrls, entry.serverUrl);
        for (const ServerEntry& server : settings_.servers) {
            if (server.url.trimmed().toLower() == moved) {
                entry.serverUrl = server.url.trimmed();
            }
        }
    }
    QHash<QString, QString> passwords;
    for (auto it = settings_.projectPasswords.cbegin(); it != settings_.projectPasswords.cend();
         ++it) {
        passwords.insert(MoveProjectKey(changedUrls, it.key()).toLower(), it.value());
    }
    settings_.projectPasswords = passwords;
    std::map<QString, quint64> revisions;
    for (const auto& [url, revision] : settings_.autoSyncRevisions) {
        revisions[FollowChangedUrl(changedUrls, url)] = revision;
    }
    settings_.autoSyncRevisions = revisions;
}

// A server removed in the dialog takes its ticks, passwords and revisions with it.
void TavrinQtWindow::ForgetRemovedServers() {
    QSet<QString> configured;
    for (const ServerEntry& server : settings_.servers) {
        configured.insert(server.url.trimmed().toLower());
    }
    const auto removed = [&configured](const QString& key) {
        return !configured.contains(key.section(QLatin1Char('|'), 0, 0).trimmed().toLower());
    };
    settings_.selectedProjects.removeIf(removed);
    settings_.autoSyncProjects.removeIf(removed);
    for (auto it = settings_.projectPasswords.begin(); it != settings_.projectPasswords.end();) {
        it = removed(it.key()) ? settings_.projectPasswords.erase(it) : std::next(it);
    }
    std::erase_if(settings_.autoSyncRevisions,
                  [&removed](const auto& item) { return removed(item.first); });
}

void TavrinQtWindow::TakeSettingsBack(const SettingsDialog& dialog) {
    const SettingsDialogValues values = dialog.Values();
    const std::vector<ServerEntry> serversBefore = settings_.servers;
    const bool lockBefore = settings_.httpLockEnabled;
    const bool autoSyncBefore = settings_.autoSyncEnabled;
    const QString targetBefore = settings_.targetPath;
    const QStringList watchedBefore = AutoSyncSelection();

    const QString selectedBefore = SelectedServersSignature();
    settings_.servers = values.servers;
    settings_.selectedDomains = SelectionAfterServerEdit(serversBefore);
    const bool serversChanged = SelectedServersSignature() != selectedBefore;
    MoveKeysOfChangedUrls(dialog.ChangedUrls());
    ForgetRemovedServers();
    settings_.targetPath = QDir::toNativeSeparators(values.targetPath.trimmed());
    settings_.targetValidationEnabled = values.targetValidationEnabled;
    settings_.httpLockEnabled = values.httpLockEnabled;
    plainHttpAllowed.store(!settings_.httpLockEnabled);
    settings_.autostartMode = dialog.property("selectedAutostartMode").toBool()
                                  ? AutostartMode::tray
                                  : AutostartMode::window;
    const QStringList ticked = dialog.property("selectedAutoSyncProjects").toStringList();
    // Untouched ticks over an empty list of its own: auto-sync keeps following the project
    // section's ticks instead of freezing today's copy of them.
    if (!settings_.autoSyncProjects.isEmpty() || !SameKeys(ticked, watchedBefore)) {
        settings_.autoSyncProjects = ticked;
    }
    settings_.autoSyncEnabled = values.autoSyncEnabled;
    if (settings_.autoSyncEnabled && !IsTargetUsable() && !FolderIsAbsent(settings_.targetPath)) {
        AppendLog(Text("log.auto_sync_skipped_no_target"), false);
        settings_.autoSyncEnabled = false;
    }
    RefreshAutoSyncBadge();
    ScheduleSettingsSave();
    UpdateCommandStates();

    // A lock switched either way changes which servers can be reached: their lists are fetched
    // again. Otherwise they are fetched only when the selected servers changed. A run in
    // progress holds the lists; they are fetched when it has ended.
    controller_->RefreshProjectLists(lockBefore != settings_.httpLockEnabled, false);
    // A first run when auto-sync comes on, or when what it keeps in step has changed.
    controller_->ApplyAutoSync(settings_.autoSyncEnabled &&
                               (!autoSyncBefore || !SameKeys(AutoSyncSelection(), watchedBefore) ||
                                serversChanged || targetBefore != settings_.targetPath));
}

}  // namespace tavrin
