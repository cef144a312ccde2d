#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <vector>

#include "settings/project_entry.h"
#include "settings/settings_record.h"

namespace tavrin {

// What the settings dialog starts from and, once accepted, hands back.
struct SettingsDialogValues {
    std::vector<ServerEntry> servers;
    QString targetPath;
    bool targetValidationEnabled = true;
    bool httpLockEnabled = true;
    bool autostartEnabled = false;
    AutostartMode autostartMode = AutostartMode::tray;
    bool downloadLimitEnabled = false;
    double downloadLimitMBps = 10.0;
    bool syncWhileGameRunning = false;
    bool autoSyncEnabled = false;
    QStringList autoSyncProjects;  // project keys ticked for auto-sync
};

// The dialog's starting values: the record's, with the autostart entry as registered and the
// projects auto-sync watches.
SettingsDialogValues DialogValuesOf(const SettingsRecord& settings, bool autostartRegistered,
                                    const QStringList& autoSyncSelection);

// Where an address went through the dialog's updates (in lower case): itself when unchanged.
QString FollowChangedUrl(const QHash<QString, QString>& changedUrls, const QString& url);
// A project or password key ("url|project") moved to its server's new address.
QString MoveProjectKey(const QHash<QString, QString>& changedUrls, const QString& key);
// Whether two lists name the same projects, in any order and case.
bool SameProjectKeys(const QStringList& a, const QStringList& b);

// The selected servers after the server list was edited: those that were selected stay so; a
// server added or given a new address is selected, since the player has no other place to
// tick it. When nothing is left, the first server is, as when the settings are loaded.
QStringList SelectionAfterServerEdit(const SettingsRecord& settings,
                                     const std::vector<ServerEntry>& before);
// Ticks, passwords and revisions are kept under the server's address: an address the player
// changed takes them along, and so do the projects on show, whose ticks are read from them.
void MoveKeysOfChangedUrls(SettingsRecord& settings, std::vector<ProjectEntry>& projectsOnShow,
                           const QHash<QString, QString>& changedUrls);
// A server removed from the list takes its ticks, passwords and revisions with it.
void ForgetRemovedServers(SettingsRecord& settings);

// What changed when accepted values were merged, for what has to follow.
struct SettingsMergeOutcome {
    bool selectedServersChanged = false;
    bool httpLockChanged = false;
};

// Merges the accepted values into `settings`. `watchedBefore`: what auto-sync watched before
// the edit; untouched ticks over an empty list of its own keep auto-sync following the project
// section's ticks instead of freezing today's copy of them. Auto-sync is taken as asked; the
// caller checks the folder.
SettingsMergeOutcome MergeAcceptedSettings(SettingsRecord& settings,
                                           std::vector<ProjectEntry>& projectsOnShow,
                                           const SettingsDialogValues& values,
                                           const QHash<QString, QString>& changedUrls,
                                           const QStringList& watchedBefore);

}  // namespace tavrin
