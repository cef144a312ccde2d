// The project section: the selected servers' project lists, loaded on a worker thread, shown
// as a grid of check boxes whose ticks are kept by project key.
#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QStatusBar>

#include "i18n/translator.h"
#include "ui/tavrin_qt_window.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kLoadedMessageMs = 3500;
constexpr int kFailedMessageMs = 5000;
constexpr int kCheckMinimumHeight = 22;

}  // namespace

void TavrinQtWindow::RefreshProjectLists(bool force) {
    controller_->RefreshProjectLists(force, force);
}

// Lists that came back: every server failing shows its box only when the player asked for
// the lists, or sees the window at start-up; retries and hidden starts say it in the log.
void TavrinQtWindow::OnProjectListsLoaded(const ListsOutcome& outcome) {
    projectEntries_ = controller_->ProjectEntries();
    if (!outcome.anyLoaded) {
        const QString error = outcome.warnings.isEmpty()
                                  ? Text("error.project_list_unavailable_default")
                                  : outcome.warnings.join(QLatin1Char('\n'));
        statusBar()->showMessage(Text("status.project_lists_load_failed"), kFailedMessageMs);
        ShowProjectPlaceholder("placeholder.project_lists_load_failed");
        if (outcome.requestedByPlayer || (!outcome.retry && isVisible())) {
            QMessageBox box(QMessageBox::Warning, Text("title.project_list"), error,
                            QMessageBox::Ok, this, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
            box.exec();
        }
    } else {
        if (!outcome.warnings.isEmpty() && !outcome.retry) {
            AppendLog(
                Text("log.warning_with_details").arg(outcome.warnings.join(QStringLiteral("; "))),
                false);
        }
        if (projectEntries_.empty()) {
            ShowProjectPlaceholder("placeholder.no_projects_available");
        } else {
            RebuildProjectChecks(settings_.selectedProjects);
        }
        statusBar()->showMessage(Text("status.projects_loaded"), kLoadedMessageMs);
    }
    UpdateSelectionCount();
    UpdateCommandStates();
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
        box->setEnabled(!controller_->IsBusy());
        connect(box, &QCheckBox::toggled, this, [this] { OnProjectToggled(); });
        projectChecks_.push_back(box);
    }
    ReflowProjectGrid();
    UpdateSelectionCount();
}

void TavrinQtWindow::OnProjectToggled() {
    UpdateSelectionCount();
    UpdateCommandStates();
    // The ticks of a server whose list is not on show (it is down, or still loading) stay.
    QStringList selection = CheckedProjectKeys();
    selection << controller_->KeysOfServersWithoutList(settings_.selectedProjects);
    selection.removeDuplicates();
    settings_.selectedProjects = selection;
    ScheduleSettingsSave();
    if (settings_.autoSyncEnabled && settings_.autoSyncProjects.isEmpty()) {
        controller_->RestartWatchers();  // without a selection of its own, auto-sync watches ticks
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
