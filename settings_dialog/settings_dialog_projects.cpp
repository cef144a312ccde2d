// The auto-sync tab of the settings dialog: the switch and the tree of the projects it
// watches, servers with their projects, ticked by project key.
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSet>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "settings_dialog/settings_dialog.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kKeyRole = Qt::UserRole;

}  // namespace

QWidget* SettingsDialog::BuildAutoSyncTab() {
    QWidget* page = MakePage("SettingsAutoSyncTab", "dialog.tab_auto_sync");
    QVBoxLayout* layout = PageLayout(page);
    layout->addWidget(TranslatedLabel("section.sync", "SectionTitle", page));
    autoSync_ = new QCheckBox(page);
    autoSync_->setObjectName(QStringLiteral("SettingsAutoSyncCheck"));
    Translate(autoSync_, "dialog.auto_sync_checkbox");
    layout->addWidget(autoSync_);
    layout->addWidget(TranslatedLabel("dialog.auto_sync_hint", "HintLabel", page));
    autoSyncFolderWarning_ =
        TranslatedLabel("dialog.auto_sync_target_required_warning", "DangerHintLabel", page);
    layout->addWidget(autoSyncFolderWarning_);
    layout->addSpacing(6);
    layout->addWidget(TranslatedLabel("dialog.auto_sync_projects_title", "SectionTitle", page));
    layout->addWidget(TranslatedLabel("dialog.auto_sync_projects_help", "HintLabel", page));
    autoSyncTree_ = new QTreeWidget(page);
    autoSyncTree_->setObjectName(QStringLiteral("SettingsAutoSyncTree"));
    autoSyncTree_->setHeaderHidden(true);
    autoSyncTree_->setColumnCount(1);
    layout->addWidget(autoSyncTree_, 1);

    auto* row = new QHBoxLayout;
    auto* selectAll = new QPushButton(page);
    selectAll->setObjectName(QStringLiteral("SecondaryButton"));
    Translate(selectAll, "button.select_all");
    auto* clear = new QPushButton(page);
    clear->setObjectName(QStringLiteral("SecondaryButton"));
    Translate(clear, "button.clear_selection");
    autoSyncCount_ = new QLabel(page);
    autoSyncCount_->setObjectName(QStringLiteral("HintLabel"));
    row->addWidget(selectAll);
    row->addWidget(clear);
    row->addStretch(1);
    row->addWidget(autoSyncCount_);
    layout->addLayout(row);

    connect(autoSync_, &QCheckBox::toggled, this, &SettingsDialog::RefreshWarnings);
    connect(selectAll, &QPushButton::clicked, this, [this] { SetAllAutoSyncTicks(true); });
    connect(clear, &QPushButton::clicked, this, [this] { SetAllAutoSyncTicks(false); });
    connect(autoSyncTree_, &QTreeWidget::itemChanged, this, &SettingsDialog::UpdateAutoSyncCount);
    return page;
}

// The projects of the lists the window holds, under their servers in the servers' order. A
// ticked key whose project is not listed right now (its server unreachable, say) keeps its
// row, so that accepting the dialog does not drop it unseen.
void SettingsDialog::FillAutoSyncTree(const std::vector<ProjectEntry>& projects,
                                      const QStringList& ticked) {
    const QSignalBlocker blocker(autoSyncTree_);
    autoSyncTree_->clear();
    QSet<QString> wanted;
    for (const QString& key : ticked) {
        wanted.insert(MoveProjectKey(changedUrls_, NormalizedProjectKey(key)).toLower());
    }
    QHash<QString, QTreeWidgetItem*> serverItems;
    const auto serverItem = [this, &serverItems](const QString& url, const QString& name) {
        const QString id = url.trimmed().toLower();
        if (QTreeWidgetItem* known = serverItems.value(id)) {
            return known;
        }
        auto* item = new QTreeWidgetItem(autoSyncTree_, {name});
        item->setToolTip(0, url);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemIsAutoTristate);
        item->setCheckState(0, Qt::Unchecked);
        item->setExpanded(true);
        serverItems.insert(id, item);
        return item;
    };
    const auto addProject = [&wanted](QTreeWidgetItem* parent, const QString& key,
                                      const QString& name) {
        auto* item = new QTreeWidgetItem(parent, {name});
        item->setData(0, kKeyRole, key);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        const bool on = wanted.remove(key.toLower());
        item->setCheckState(0, on ? Qt::Checked : Qt::Unchecked);
    };
    // Projects listed under an address the player has since changed belong to the new one.
    for (const ServerEntry& server : servers_) {
        for (const ProjectEntry& project : projects) {
            if (FollowChangedUrl(changedUrls_, project.serverUrl) ==
                server.url.trimmed().toLower()) {
                addProject(serverItem(server.url, server.name),
                           MoveProjectKey(changedUrls_, ProjectKey(project)),
                           QString::fromStdString(project.projectName));
            }
        }
    }
    for (const QString& key : ticked) {
        const QString normalized = MoveProjectKey(changedUrls_, NormalizedProjectKey(key));
        if (!wanted.contains(normalized.toLower())) {
            continue;
        }
        const qsizetype bar = normalized.indexOf(QLatin1Char('|'));
        const QString url = normalized.left(bar);
        const int row = RowOfUrl(url);
        if (row < 0) {
            continue;  // its server is no longer configured
        }
        addProject(serverItem(url, servers_[static_cast<std::size_t>(row)].name), normalized,
                   normalized.mid(bar + 1));
    }
    UpdateAutoSyncCount();
}

void SettingsDialog::SetAllAutoSyncTicks(bool ticked) {
    const QSignalBlocker blocker(autoSyncTree_);
    for (int i = 0; i < autoSyncTree_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* server = autoSyncTree_->topLevelItem(i);
        for (int j = 0; j < server->childCount(); ++j) {
            server->child(j)->setCheckState(0, ticked ? Qt::Checked : Qt::Unchecked);
        }
        server->setCheckState(0, ticked && server->childCount() > 0 ? Qt::Checked : Qt::Unchecked);
    }
    UpdateAutoSyncCount();
}

QStringList SettingsDialog::TickedAutoSyncProjects() const {
    QStringList keys;
    for (int i = 0; i < autoSyncTree_->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* server = autoSyncTree_->topLevelItem(i);
        for (int j = 0; j < server->childCount(); ++j) {
            if (server->child(j)->checkState(0) == Qt::Checked) {
                keys << server->child(j)->data(0, kKeyRole).toString();
            }
        }
    }
    return keys;
}

void SettingsDialog::UpdateAutoSyncCount() {
    if (autoSyncCount_ == nullptr) {
        return;
    }
    int total = 0;
    for (int i = 0; i < autoSyncTree_->topLevelItemCount(); ++i) {
        total += autoSyncTree_->topLevelItem(i)->childCount();
    }
    autoSyncCount_->setText(
        Text("label.selected_of_total").arg(TickedAutoSyncProjects().size()).arg(total));
}

}  // namespace tavrin
