#include "settings/project_entry.h"

#include <algorithm>

namespace tavrin {

QString ProjectKey(const QString& serverUrl, const QString& projectName) {
    return serverUrl.trimmed().toLower() + QLatin1Char('|') + projectName;
}

QString ProjectKey(const ProjectEntry& entry) {
    return ProjectKey(entry.serverUrl, QString::fromStdString(entry.projectName));
}

QString PasswordKey(const QString& serverUrl, const QString& projectName) {
    return ProjectKey(serverUrl, projectName).toLower();
}

QString NormalizedProjectKey(const QString& key) {
    const qsizetype bar = key.indexOf(QLatin1Char('|'));
    return bar < 0 ? key : ProjectKey(key.left(bar), key.mid(bar + 1));
}

std::vector<ServerEntry> SelectedServers(const SettingsRecord& settings) {
    std::vector<ServerEntry> selected;
    for (const ServerEntry& server : settings.servers) {
        const QString url = server.url.trimmed();
        if (url.isEmpty()) {
            continue;
        }
        const bool ticked =
            std::any_of(settings.selectedDomains.begin(), settings.selectedDomains.end(),
                        [&url](const QString& domain) {
                            return domain.trimmed().compare(url, Qt::CaseInsensitive) == 0;
                        });
        if (ticked) {
            selected.push_back(server);
        }
    }
    return selected;
}

QString ServerSetSignature(const std::vector<ServerEntry>& servers) {
    QStringList parts;
    for (const ServerEntry& server : servers) {
        parts << server.name.trimmed() + QLatin1Char('\t') + server.url.trimmed().toLower();
    }
    return parts.join(QLatin1Char('\n'));
}

std::vector<ServerWorkItem> BuildServerWorkItems(const std::vector<ServerEntry>& servers,
                                                 const QStringList& selection) {
    std::vector<ServerWorkItem> items;
    for (const ServerEntry& server : servers) {
        const QString prefix = ProjectKey(server.url, QString());
        ServerWorkItem item{server.name, server.url.trimmed(), {}};
        for (const QString& key : selection) {
            if (key.startsWith(prefix) && key.size() > prefix.size()) {
                const std::string project = key.mid(prefix.size()).toStdString();
                if (std::find(item.projects.begin(), item.projects.end(), project) ==
                    item.projects.end()) {
                    item.projects.push_back(project);
                }
            }
        }
        if (!item.projects.empty()) {
            items.push_back(std::move(item));
        }
    }
    return items;
}

}  // namespace tavrin
