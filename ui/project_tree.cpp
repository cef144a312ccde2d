// The project section: the selected servers' project lists, loaded on a worker thread, shown
// as a grid of check boxes whose ticks are kept by project key.
#include <QCheckBox>
#include <QCoreApplication>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QStatusBar>

#include "i18n/translator.h"
#include "net/project_list.h"
#include "ui/tavrin_qt_window.h"
#include "ui/ui_text.h"

namespace tavrin {

namespace {

constexpr int kLoadedMessageMs = 3500;
constexpr int kFailedMessageMs = 5000;
constexpr int kCheckMinimumHeight = 22;

}  // namespace

void TavrinQtWindow::RefreshProjectLists(bool force) {
    if (busy_ || shuttingDown_.load()) {
        return;
    }
    const QStringList checked = CheckedProjectKeys();
    keysToRestore_ = checked.isEmpty() ? settings_.selectedProjects : checked;
    const std::vector<ServerEntry> servers = SelectedServers(settings_);
    if (servers.empty()) {
        projectEntries_.clear();
        ShowProjectPlaceholder("placeholder.no_servers_configured");
        projectListSignature_.clear();
        UpdateSelectionCount();
        UpdateCommandStates();
        RestartAutoSync(false);
        return;
    }
    const QString signature = ServerSetSignature(servers);
    if (!force && signature == projectListSignature_) {
        return;
    }
    projectListSignature_ = signature;
    ShowProjectPlaceholder("placeholder.loading_projects");
    statusBar()->showMessage(Text("status.loading_project_list"));

    const std::uint64_t request = projectListRequest_.fetch_add(1) + 1;
    RetireThread(std::move(projectLoaderThread_));
    QPointer<TavrinQtWindow> self(this);
    const std::wstring clientId = clientId_.toStdWString();
    projectLoaderThread_ = std::thread([self, servers, clientId, request] {
        ProjectListsResult result;
        result.request = request;
        for (const ServerEntry& server : servers) {
            std::vector<ProjectInfo> projects;
            std::wstring error;
            if (!FetchProjectList(server.url.trimmed().toStdWString(), clientId, projects, error)) {
                result.warnings << Text("error.server_with_details")
                                       .arg(server.name, QString::fromStdWString(error));
                continue;
            }
            result.anyLoaded = true;
            for (const ProjectInfo& project : projects) {
                const QString name = QString::fromStdString(project.name);
                result.entries.push_back({server.name, server.url.trimmed(), project.name,
                                          server.name + QStringLiteral(" | ") + name,
                                          project.requiresPassword});
            }
        }
        // The pointer is read on the window's thread, where the window is destroyed.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, result] {
                if (self != nullptr) {
                    self->OnProjectListsLoaded(result);
                }
            },
            Qt::QueuedConnection);
    });
}

void TavrinQtWindow::OnProjectListsLoaded(const ProjectListsResult& result) {
    if (shuttingDown_.load() || result.request != projectListRequest_.load()) {
        return;  // a newer refresh has started meanwhile
    }
    if (projectLoaderThread_.joinable()) {
        projectLoaderThread_.join();
    }
    projectEntries_ = result.entries;
    if (!result.anyLoaded) {
        const QString error = result.warnings.isEmpty()
                                  ? Text("error.project_list_unavailable_default")
                                  : result.warnings.join(QLatin1Char('\n'));
        statusBar()->showMessage(Text("status.project_lists_load_failed"), kFailedMessageMs);
        QMessageBox box(QMessageBox::Warning, Text("title.project_list"), error, QMessageBox::Ok,
                        this, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.exec();
        ShowProjectPlaceholder("placeholder.project_lists_load_failed");
    } else {
        if (!result.warnings.isEmpty()) {
            AppendLog(
                Text("log.warning_with_details").arg(result.warnings.join(QStringLiteral("; "))),
                false);
        }
        if (projectEntries_.empty()) {
            ShowProjectPlaceholder("placeholder.no_projects_available");
        } else {
            RebuildProjectChecks(keysToRestore_);
        }
        statusBar()->showMessage(Text("status.projects_loaded"), kLoadedMessageMs);
    }
    UpdateSelectionCount();
    UpdateCommandStates();
    RestartAutoSync(false);  // the watchers follow the new lists
    if (initialSyncWaitsForLists_ && !projectEntries_.empty()) {
        StartInitialAutoSync();
    }
}

void TavrinQtWindow::ClearProjectChecks() {
    for (QCheckBox* box : projectChecks_) {
        projectGrid_->removeWidget(box);
        box->deleteLater();
    }
    projectChecks_.clear();
}

void TavrinQtWindow::ShowProjectPlaceholder(const char* key) {
    ClearProjectChecks();
    if (projectPlaceholder_ == nullptr) {
        projectPlaceholder_ = new QLabel(projectContainer_);
        projectPlaceholder_->setObjectName(QStringLiteral("HintLabel"));
    }
    projectPlaceholder_->setProperty("placeholderKey", QString::fromLatin1(key));
    projectPlaceholder_->setText(Text(key));
    projectGrid_->addWidget(projectPlaceholder_, 0, 0);
    projectPlaceholder_->show();
    projectContainer_->setMinimumHeight(0);
}

void TavrinQtWindow::RebuildProjectChecks(const QStringList& keys) {
    ClearProjectChecks();
    if (projectPlaceholder_ != nullptr) {
        projectGrid_->removeWidget(projectPlaceholder_);
        projectPlaceholder_->deleteLater();
        projectPlaceholder_ = nullptr;
    }
    QStringList wanted;
    for (const QString& key : keys) {
        wanted << NormalizedProjectKey(key);
    }
    for (const ProjectEntry& entry : projectEntries_) {
        const QString project = QString::fromStdString(entry.projectName);
        auto* box =
            new QCheckBox(entry.serverName + QStringLiteral(" | ") + project, projectContainer_);
        box->setObjectName(QStringLiteral("ProjectCheck"));
        box->setMinimumHeight(kCheckMinimumHeight);
        box->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        box->setToolTip(entry.displayText);
        box->setAccessibleName(
            Text("accessible.project_from_server").arg(project, entry.serverName));
        box->setChecked(wanted.contains(ProjectKey(entry)));
        box->setEnabled(!busy_);
        connect(box, &QCheckBox::toggled, this, [this] { OnProjectToggled(); });
        projectChecks_.push_back(box);
    }
    ReflowProjectGrid();
    UpdateSelectionCount();
}

void TavrinQtWindow::OnProjectToggled() {
    UpdateSelectionCount();
    UpdateCommandStates();
    settings_.selectedProjects = CheckedProjectKeys();
    ScheduleSettingsSave();
    if (settings_.autoSyncEnabled && settings_.autoSyncProjects.isEmpty()) {
        RestartAutoSync(false);  // without a selection of its own, auto-sync watches the ticks
    }
}

void TavrinQtWindow::ReflowProjectGrid() {
    if (projectGrid_ == nullptr || projectChecks_.empty()) {
        return;
    }
    const int columns =
        ProjectGridColumns(projectContainer_ != nullptr ? projectContainer_->width() : -1);
    for (QCheckBox* box : projectChecks_) {
        projectGrid_->removeWidget(box);
    }
    for (int column = 0; column < projectGrid_->columnCount(); ++column) {
        projectGrid_->setColumnStretch(column, 0);
    }
    for (std::size_t index = 0; index < projectChecks_.size(); ++index) {
        const int at = static_cast<int>(index);
        projectGrid_->addWidget(projectChecks_[index], at / columns, at % columns);
    }
    for (int column = 0; column < columns; ++column) {
        projectGrid_->setColumnStretch(column, 1);
    }
    const int rows = (static_cast<int>(projectChecks_.size()) + columns - 1) / columns;
    projectContainer_->setMinimumHeight(
        ProjectGridMinimumHeight(rows, projectGrid_->verticalSpacing()));
}

QStringList TavrinQtWindow::CheckedProjectKeys() const {
    QStringList keys;
    for (std::size_t index = 0; index < projectChecks_.size() && index < projectEntries_.size();
         ++index) {
        if (projectChecks_[index]->isChecked()) {
            keys << ProjectKey(projectEntries_[index]);
        }
    }
    return keys;
}

}  // namespace tavrin
