#pragma once

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QtGlobal>
#include <map>
#include <vector>

#include "app/autostart_command.h"

namespace tavrin {

// One configured content server, in the user's order.
struct ServerEntry {
    QString name;  // display name, trimmed
    QString url;   // normalised base URL, trimmed
};

// Every setting the window keeps in "Tavrin.ini".
struct SettingsRecord {
    QString language = QStringLiteral("en");
    bool httpLockEnabled = true;
    std::vector<ServerEntry> servers;
    QStringList selectedDomains;
    QString targetPath;
    bool targetValidationEnabled = true;
    double downloadBytesPerSecond = 0.0;
    double downloadFilesPerSecond = 0.0;
    double compareFilesPerSecond = 0.0;
    AutostartMode autostartMode = AutostartMode::tray;
    // One limit for all downloads of a run together, in MB/s (1,048,576 bytes), when on.
    bool downloadLimitEnabled = false;
    double downloadLimitMBps = 10.0;
    // Off: automatic runs wait while the game runs, and a run by hand asks first.
    bool syncWhileGameRunning = false;
    bool autoSyncEnabled = false;
    // Auto-sync paused from the tray: until a time (UTC), or until the player resumes it.
    QDateTime autoSyncPausedUntil;
    bool autoSyncPausedUntilResumed = false;
    QStringList selectedProjects;
    QStringList autoSyncProjects;
    QHash<QString, QString> projectPasswords;  // project key (trimmed, lower case) -> password
    // Server URL -> last change-feed revision; the window guards it with its revisions mutex.
    std::map<QString, quint64> autoSyncRevisions;
};

}  // namespace tavrin
