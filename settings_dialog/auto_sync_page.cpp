#include "settings_dialog/auto_sync_page.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSet>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kKeyRole = Qt::UserRole;         // a project's key
constexpr int kServerRole = Qt::UserRole + 1;  // a server's address, in lower case

}  // namespace

AutoSyncPage::AutoSyncPage(std::vector<ProjectEntry> projects, std::function<bool()> targetUsable)
    : SettingsPage("SettingsAutoSyncTab", "dialog.tab_auto_sync"),
      projects_(std::move(projects)),
      targetUsable_(std::move(targetUsable)) {
    Layout()->addWidget(TranslatedLabel("section.sync", "SectionTitle"));
    autoSync_ = TranslatedCheck("SettingsAutoSyncCheck", "dialog.auto_sync_checkbox");
    Layout()->addWidget(TranslatedLabel("dialog.auto_sync_hint", "HintLabel"));
    folderWarning_ = TranslatedLabel("dialog.auto_sync_target_required_warning", "DangerHintLabel");
    Layout()->addWidget(folderWarning_);
    Layout()->addSpacing(6);
    Layout()->addWidget(TranslatedLabel("dialog.auto_sync_projects_title", "SectionTitle"));
    Layout()->addWidget(TranslatedLabel("dialog.auto_sync_projects_help", "HintLabel"));
    tree_ = new QTreeWidget(this);
    tree_->setObjectName(QStringLiteral("SettingsAutoSyncTree"));
    tree_->setHeaderHidden(true);
    tree_->setColumnCount(1);
    Layout()->addWidget(tree_, 1);

    auto* row = new QHBoxLayout;
    auto* selectAll = new QPushButton(this);
    selectAll->setObjectName(QStringLiteral("SecondaryButton"));
    Translate(selectAll, "button.select_all");
    auto* clear = new QPushButton(this);
    clear->setObjectName(QStringLiteral("SecondaryButton"));
    Translate(clear, "button.clear_selection");
    count_ = new QLabel(this);
    count_->setObjectName(QStringLiteral("HintLabel"));
    row->addWidget(selectAll);
    row->addWidget(clear);
    row->addStretch(1);
    row->addWidget(count_);
    Layout()->addLayout(row);

    connect(autoSync_, &QCheckBox::toggled, this, &AutoSyncPage::RefreshWarning);
    connect(selectAll, &QPushButton::clicked, this, [this] { SetAllTicks(true); });
    connect(clear, &QPushButton::clicked, this, [this] { SetAllTicks(false); });
    connect(tree_, &QTreeWidget::itemChanged, this, &AutoSyncPage::UpdateCount);
}

void AutoSyncPage::Fill(const SettingsDialogValues& values) {
    servers_ = values.servers;
    autoSync_->setChecked(values.autoSyncEnabled);
    FillTree(values.autoSyncProjects);
    RefreshWarning();
}

void AutoSyncPage::Collect(SettingsDialogValues& values) const {
    values.autoSyncEnabled = autoSync_->isChecked();
    values.autoSyncProjects = TickedProjects();
}

void AutoSyncPage::Retranslate() {
    SettingsPage::Retranslate();
    UpdateCount();
}

bool AutoSyncPage::Enabled() const {
    return autoSync_->isChecked();
}

void AutoSyncPage::ShowServers(const std::vector<ServerEntry>& servers,
                               const QHash<QString, QString>& changedUrls) {
    servers_ = servers;
    changedUrls_ = changedUrls;
    FillTree(TickedProjects());
    RefreshWarning();
}

void AutoSyncPage::RefreshWarning() {
    folderWarning_->setVisible(autoSync_->isChecked() && !targetUsable_());
}

// The projects of the lists the window holds, under their servers in the servers' order.
// Projects listed under an address the player has since changed belong to the new one.
void AutoSyncPage::FillTree(const QStringList& ticked) {
    const QSignalBlocker blocker(tree_);
    tree_->clear();
    QSet<QString> wanted;
    for (const QString& key : ticked) {
        wanted.insert(MoveProjectKey(changedUrls_, NormalizedProjectKey(key)).toLower());
    }
    for (const ServerEntry& server : servers_) {
        for (const ProjectEntry& project : projects_) {
            if (FollowChangedUrl(changedUrls_, project.serverUrl) ==
                server.url.trimmed().toLower()) {
                const QString key = MoveProjectKey(changedUrls_, ProjectKey(project));
                AddProject(ServerItem(server.url, server.name), key,
                           QString::fromStdString(project.projectName),
                           wanted.remove(key.toLower()));
            }
        }
    }
    AddTickedWithoutList(ticked, wanted);
    UpdateCount();
}

// A ticked key whose project is not listed right now (its server unreachable, say) keeps its
// row, so that accepting the dialog does not drop it unseen.
void AutoSyncPage::AddTickedWithoutList(const QStringList& ticked, QSet<QString>& wanted) {
    for (const QString& key : ticked) {
        const QString normalized = MoveProjectKey(changedUrls_, NormalizedProjectKey(key));
        if (!wanted.remove(normalized.toLower())) {
            continue;
        }
        const qsizetype bar = normalized.indexOf(QLatin1Char('|'));
        const QString url = normalized.left(bar);
        const int row = RowOfUrl(url);
        if (row < 0) {
            continue;  // its server is no longer configured
        }
        AddProject(ServerItem(url, servers_[static_cast<std::size_t>(row)].name), normalized,
                   normalized.mid(bar + 1), true);
    }
}

QTreeWidgetItem* AutoSyncPage::ServerItem(const QString& url, const QString& name) {
    const QString id = url.trimmed().toLower();
    for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
        if (tree_->topLevelItem(i)->data(0, kServerRole).toString() == id) {
            return tree_->topLevelItem(i);
        }
    }
    auto* item = new QTreeWidgetItem(tree_, {name});
    item->setData(0, kServerRole, id);
    item->setToolTip(0, url);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemIsAutoTristate);
    item->setCheckState(0, Qt::Unchecked);
    item->setExpanded(true);
    return item;
}

void AutoSyncPage::AddProject(QTreeWidgetItem* server, const QString& key, const QString& name,
                              bool ticked) {
    auto* item = new QTreeWidgetItem(server, {name});
    item->setData(0, kKeyRole, key);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
    item->setCheckState(0, ticked ? Qt::Checked : Qt::Unchecked);
}

int AutoSyncPage::RowOfUrl(const QString& url) const {
    for (std::size_t i = 0; i < servers_.size(); ++i) {
        if (servers_[i].url.trimmed().compare(url, Qt::CaseInsensitive) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void AutoSyncPage::SetAllTicks(bool ticked) {
    const QSignalBlocker blocker(tree_);
    for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* server = tree_->topLevelItem(i);
        for (int j = 0; j < server->childCount(); ++j) {
            server->child(j)->setCheckState(0, ticked ? Qt::Checked : Qt::Unchecked);
        }
        server->setCheckState(0, ticked && server->childCount() > 0 ? Qt::Checked : Qt::Unchecked);
    }
    UpdateCount();
}

QStringList AutoSyncPage::TickedProjects() const {
    QStringList keys;
    for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* server = tree_->topLevelItem(i);
        for (int j = 0; j < server->childCount(); ++j) {
            if (server->child(j)->checkState(0) == Qt::Checked) {
                keys << server->child(j)->data(0, kKeyRole).toString();
            }
        }
    }
    return keys;
}

void AutoSyncPage::UpdateCount() {
    int total = 0;
    for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
        total += tree_->topLevelItem(i)->childCount();
    }
    count_->setText(Text("label.selected_of_total").arg(TickedProjects().size()).arg(total));
}

}  // namespace tavrin
