#include "settings/settings_merge.h"

#include <QDir>
#include <QSet>
#include <algorithm>

namespace tavrin {

namespace {

bool ContainsUrl(const std::vector<ServerEntry>& servers, const QString& url) {
    return std::any_of(servers.begin(), servers.end(), [&url](const ServerEntry& server) {
        return server.url.trimmed().compare(url.trimmed(), Qt::CaseInsensitive) == 0;
    });
}

QSet<QString> KeySet(const QStringList& keys) {
    QSet<QString> set;
    for (const QString& key : keys) {
        set.insert(NormalizedProjectKey(key).toLower());
    }
    return set;
}

}  // namespace

SettingsDialogValues DialogValuesOf(const SettingsRecord& settings, bool autostartRegistered,
                                    const QStringList& autoSyncSelection) {
    SettingsDialogValues values;
    values.servers = settings.servers;
    values.targetPath = settings.targetPath;
    values.targetValidationEnabled = settings.targetValidationEnabled;
    values.httpLockEnabled = settings.httpLockEnabled;
    values.autostartEnabled = autostartRegistered;
    values.autostartMode = settings.autostartMode;
    values.downloadLimitEnabled = settings.downloadLimitEnabled;
    values.downloadLimitMBps = settings.downloadLimitMBps;
    values.syncWhileGameRunning = settings.syncWhileGameRunning;
    values.autoSyncEnabled = settings.autoSyncEnabled;
    values.autoSyncProjects = autoSyncSelection;
    return values;
}

QString FollowChangedUrl(const QHash<QString, QString>& changedUrls, const QString& url) {
    QString current = url.trimmed().toLower();
    // A bounded walk: edits can send an address back where it came from.
    for (int hop = 0; hop < 16; ++hop) {
        const auto next = changedUrls.constFind(current);
        if (next == changedUrls.constEnd()) {
            break;
        }
        current = next.value().trimmed().toLower();
    }
    return current;
}

QString MoveProjectKey(const QHash<QString, QString>& changedUrls, const QString& key) {
    const qsizetype bar = key.indexOf(QLatin1Char('|'));
    if (bar < 0 || changedUrls.isEmpty()) {
        return key;
    }
    const QString url = key.left(bar).trimmed().toLower();
    const QString moved = FollowChangedUrl(changedUrls, url);
    return moved == url ? key : moved + key.mid(bar);
}

bool SameProjectKeys(const QStringList& a, const QStringList& b) {
    return KeySet(a) == KeySet(b);
}

QStringList SelectionAfterServerEdit(const SettingsRecord& settings,
                                     const std::vector<ServerEntry>& before) {
    QStringList selection;
    for (const ServerEntry& server : settings.servers) {
        const QString url = server.url.trimmed();
        if (url.isEmpty()) {
            continue;
        }
        if (!ContainsUrl(before, url) ||
            settings.selectedDomains.contains(url, Qt::CaseInsensitive)) {
            selection << url;
        }
    }
    if (selection.isEmpty() && !settings.servers.empty()) {
        selection << settings.servers.front().url.trimmed();
    }
    selection.removeDuplicates();
    return selection;
}

void MoveKeysOfChangedUrls(SettingsRecord& settings, std::vector<ProjectEntry>& projectsOnShow,
                           const QHash<QString, QString>& changedUrls) {
    if (changedUrls.isEmpty()) {
        return;
    }
    const auto moveAll = [&changedUrls](QStringList& keys) {
        for (QString& key : keys) {
            key = MoveProjectKey(changedUrls, key);
        }
        keys.removeDuplicates();
    };
    moveAll(settings.selectedProjects);
    moveAll(settings.autoSyncProjects);
    for (ProjectEntry& entry : projectsOnShow) {
        const QString moved = FollowChangedUrl(changedUrls, entry.serverUrl);
        for (const ServerEntry& server : settings.servers) {
            if (server.url.trimmed().toLower() == moved) {
                entry.serverUrl = server.url.trimmed();
            }
        }
    }
    QHash<QString, QString> passwords;
    for (auto it = settings.projectPasswords.cbegin(); it != settings.projectPasswords.cend();
         ++it) {
        passwords.insert(MoveProjectKey(changedUrls, it.key()).toLower(), it.value());
    }
    settings.projectPasswords = passwords;
    std::map<QString, quint64> revisions;
    for (const auto& [url, revision] : settings.autoSyncRevisions) {
        revisions[FollowChangedUrl(changedUrls, url)] = revision;
    }
    settings.autoSyncRevisions = revisions;
}

void ForgetRemovedServers(SettingsRecord& settings) {
    QSet<QString> configured;
    for (const ServerEntry& server : settings.servers) {
        configured.insert(server.url.trimmed().toLower());
    }
    const auto removed = [&configured](const QString& key) {
        return !configured.contains(key.section(QLatin1Char('|'), 0, 0).trimmed().toLower());
    };
    settings.selectedProjects.removeIf(removed);
    settings.autoSyncProjects.removeIf(removed);
    for (auto it = settings.projectPasswords.begin(); it != settings.projectPasswords.end();) {
        it = removed(it.key()) ? settings.projectPasswords.erase(it) : std::next(it);
    }
    std::erase_if(settings.autoSyncRevisions,
                  [&removed](const auto& item) { return removed(item.first); });
}

SettingsMergeOutcome MergeAcceptedSettings(SettingsRecord& settings,
                                           std::vector<ProjectEntry>& projectsOnShow,
                                           const SettingsDialogValues& values,
                                           const QHash<QString, QString>& changedUrls,
                                           const QStringList& watchedBefore) {
    SettingsMergeOutcome outcome;
    const std::vector<ServerEntry> serversBefore = settings.servers;
    const QString selectedBefore = ServerSetSignature(SelectedServers(settings));
    settings.servers = values.servers;
    settings.selectedDomains = SelectionAfterServerEdit(settings, serversBefore);
    outcome.selectedServersChanged =
        ServerSetSignature(SelectedServers(settings)) != selectedBefore;
    MoveKeysOfChangedUrls(settings, projectsOnShow, changedUrls);
    ForgetRemovedServers(settings);
    settings.targetPath = QDir::toNativeSeparators(values.targetPath.trimmed());
    settings.targetValidationEnabled = values.targetValidationEnabled;
    outcome.httpLockChanged = settings.httpLockEnabled != values.httpLockEnabled;
    settings.httpLockEnabled = values.httpLockEnabled;
    settings.autostartMode = values.autostartMode;
    settings.downloadLimitEnabled = values.downloadLimitEnabled;
    settings.downloadLimitMBps = values.downloadLimitMBps;
    settings.syncWhileGameRunning = values.syncWhileGameRunning;
    if (!settings.autoSyncProjects.isEmpty() ||
        !SameProjectKeys(values.autoSyncProjects, watchedBefore)) {
        settings.autoSyncProjects = values.autoSyncProjects;
    }
    settings.autoSyncEnabled = values.autoSyncEnabled;
    return outcome;
}

}  // namespace tavrin
