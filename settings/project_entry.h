#pragma once

#include <QString>
#include <QStringList>
#include <string>
#include <vector>

#include "settings/settings_record.h"

namespace tavrin {

// One project a selected server offers, as the project section lists it.
struct ProjectEntry {
    QString serverName;
    QString serverUrl;
    std::string projectName;  // UTF-8, as the server gave it
    QString displayText;
    bool requiresPassword = false;
};

// What one server's part of a sync run covers.
struct ServerWorkItem {
    QString serverName;
    QString serverUrl;
    std::vector<std::string> projects;  // UTF-8
};

// "url|project": the server's address trimmed and in lower case, then the project name. Ticks,
// remembered selections and passwords are all kept under this key.
QString ProjectKey(const QString& serverUrl, const QString& projectName);
QString ProjectKey(const ProjectEntry& entry);
// The key remembered passwords are kept under: the project key wholly in lower case, as the
// settings file stores it.
QString PasswordKey(const QString& serverUrl, const QString& projectName);
// A key as stored elsewhere, with its server part brought to lower case.
QString NormalizedProjectKey(const QString& key);

// The configured servers that are ticked in the settings and have an address.
std::vector<ServerEntry> SelectedServers(const SettingsRecord& settings);

// A stable text naming the selected servers: equal texts mean the same project lists.
QString ServerSetSignature(const std::vector<ServerEntry>& servers);

// Per selected server (in the servers' order) with at least one selected project: its name,
// address and the selected project names, in the selection's order.
std::vector<ServerWorkItem> BuildServerWorkItems(const std::vector<ServerEntry>& servers,
                                                 const QStringList& selection);

}  // namespace tavrin
