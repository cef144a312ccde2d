#pragma once

#include <QHash>
#include <QSet>
#include <functional>
#include <vector>

#include "settings/project_entry.h"
#include "settings_dialog/settings_page.h"

class QCheckBox;
class QLabel;
class QTreeWidget;
class QTreeWidgetItem;

namespace tavrin {

// The auto-sync tab: the switch, and the tree of the projects it watches, servers with their
// projects, ticked by project key.
class AutoSyncPage final : public SettingsPage {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AutoSyncPage)
public:
    // `projects`: the lists the window holds. `targetUsable`: whether the game folder as the
    // general tab has it may be synced into, for the warning under the switch.
    AutoSyncPage(std::vector<ProjectEntry> projects, std::function<bool()> targetUsable);

    void Fill(const SettingsDialogValues& values) override;
    void Collect(SettingsDialogValues& values) const override;
    void Retranslate() override;
    bool Enabled() const;
    QStringList TickedProjects() const;
    // The server list was edited: the tree follows, its ticks kept.
    void ShowServers(const std::vector<ServerEntry>& servers,
                     const QHash<QString, QString>& changedUrls);
    void RefreshWarning();

private:
    void FillTree(const QStringList& ticked);
    void AddTickedWithoutList(const QStringList& ticked, QSet<QString>& wanted);
    QTreeWidgetItem* ServerItem(const QString& url, const QString& name);
    void AddProject(QTreeWidgetItem* server, const QString& key, const QString& name, bool ticked);
    void SetAllTicks(bool ticked);
    void UpdateCount();
    int RowOfUrl(const QString& url) const;

    std::vector<ProjectEntry> projects_;
    std::function<bool()> targetUsable_;
    std::vector<ServerEntry> servers_;
    QHash<QString, QString> changedUrls_;
    QCheckBox* autoSync_ = nullptr;
    QLabel* folderWarning_ = nullptr;
    QTreeWidget* tree_ = nullptr;
    QLabel* count_ = nullptr;
};

}  // namespace tavrin
