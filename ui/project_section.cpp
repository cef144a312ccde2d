#include "ui/project_section.h"

#include <QCheckBox>
#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>
#include <algorithm>

#include "widgets/section_parts.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kColumnWidth = 220;
constexpr int kNarrowestContainer = 200;
constexpr int kRowHeight = 24;
constexpr int kCheckMinimumHeight = 22;

}  // namespace

int ProjectGridColumns(int containerWidth) {
    const int width =
        containerWidth < 0 ? kNarrowestContainer : std::max(containerWidth, kNarrowestContainer);
    return std::max(1, width / kColumnWidth);
}

int ProjectGridMinimumHeight(int rows, int verticalSpacing) {
    const int spacing = verticalSpacing < 1 ? 4 : verticalSpacing;
    return std::max((rows - 1) * spacing + kRowHeight * rows + 8, 48);
}

ProjectSection::ProjectSection(QWidget* parent) : QWidget(parent) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(3);
    grid->setColumnStretch(1, 1);

    auto* column = new QVBoxLayout;
    column->setContentsMargins(0, 0, 0, 0);
    title_ = MakeLabel(QStringLiteral("SectionTitle"), this);
    hint_ = MakeLabel(QStringLiteral("HintLabel"), this);
    selectionCount_ = MakeLabel(QStringLiteral("HintLabel"), this);
    container_ = new QWidget(this);
    container_->setObjectName(QStringLiteral("ProjectContainer"));
    container_->installEventFilter(this);  // its width decides the grid's columns
    grid_ = new QGridLayout(container_);
    grid_->setContentsMargins(0, 0, 0, 0);
    grid_->setHorizontalSpacing(8);
    grid_->setVerticalSpacing(3);
    placeholder_ = MakeLabel(QStringLiteral("HintLabel"), container_);
    placeholder_->setProperty("placeholderKey", QStringLiteral("placeholder.no_projects_loaded"));
    grid_->addWidget(placeholder_, 0, 0);
    column->addWidget(title_);
    column->addWidget(hint_);
    column->addWidget(selectionCount_);
    column->addWidget(container_, 1);
    grid->addLayout(column, 0, 0, 1, 2);
    UpdateSelectionCount();
}

void ProjectSection::Retranslate() {
    title_->setText(Text("section.project_selection"));
    hint_->setText(Text("hint.projects_checkbox_select"));
    if (placeholder_ != nullptr) {
        placeholder_->setText(
            Text(placeholder_->property("placeholderKey").toString().toLatin1().constData()));
    }
    UpdateSelectionCount();
}

void ProjectSection::ClearChecks() {
    for (QCheckBox* box : checks_) {
        grid_->removeWidget(box);
        box->deleteLater();
    }
    checks_.clear();
}

void ProjectSection::ShowPlaceholder(const char* key) {
    ClearChecks();
    if (placeholder_ == nullptr) {
        placeholder_ = new QLabel(container_);
        placeholder_->setObjectName(QStringLiteral("HintLabel"));
    }
    placeholder_->setProperty("placeholderKey", QString::fromLatin1(key));
    placeholder_->setText(Text(key));
    grid_->addWidget(placeholder_, 0, 0);
    placeholder_->show();
    container_->setMinimumHeight(0);
}

void ProjectSection::ShowProjects(const QStringList& keys, bool enabled) {
    ClearChecks();
    if (placeholder_ != nullptr) {
        grid_->removeWidget(placeholder_);
        placeholder_->deleteLater();
        placeholder_ = nullptr;
    }
    QStringList wanted;
    for (const QString& key : keys) {
        wanted << NormalizedProjectKey(key);
    }
    for (const ProjectEntry& entry : entries_) {
        const QString project = QString::fromStdString(entry.projectName);
        auto* box = new QCheckBox(entry.serverName + QStringLiteral(" | ") + project, container_);
        box->setObjectName(QStringLiteral("ProjectCheck"));
        box->setMinimumHeight(kCheckMinimumHeight);
        box->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        box->setToolTip(entry.displayText);
        box->setAccessibleName(
            Text("accessible.project_from_server").arg(project, entry.serverName));
        box->setChecked(wanted.contains(ProjectKey(entry)));
        box->setEnabled(enabled);
        connect(box, &QCheckBox::toggled, this, [this] {
            UpdateSelectionCount();
            emit Toggled();
        });
        checks_.push_back(box);
    }
    Reflow();
    UpdateSelectionCount();
}

void ProjectSection::SetEnabledForRun(bool enabled) {
    container_->setEnabled(enabled);
    for (QCheckBox* box : checks_) {
        box->setEnabled(enabled);
    }
}

void ProjectSection::Reflow() {
    if (checks_.empty()) {
        return;
    }
    const int columns = ProjectGridColumns(container_->width());
    for (QCheckBox* box : checks_) {
        grid_->removeWidget(box);
    }
    for (int column = 0; column < grid_->columnCount(); ++column) {
        grid_->setColumnStretch(column, 0);
    }
    for (std::size_t index = 0; index < checks_.size(); ++index) {
        const int at = static_cast<int>(index);
        grid_->addWidget(checks_[index], at / columns, at % columns);
    }
    for (int column = 0; column < columns; ++column) {
        grid_->setColumnStretch(column, 1);
    }
    const int rows = (static_cast<int>(checks_.size()) + columns - 1) / columns;
    container_->setMinimumHeight(ProjectGridMinimumHeight(rows, grid_->verticalSpacing()));
}

QStringList ProjectSection::CheckedKeys() const {
    QStringList keys;
    for (std::size_t index = 0; index < checks_.size() && index < entries_.size(); ++index) {
        if (checks_[index]->isChecked()) {
            keys << ProjectKey(entries_[index]);
        }
    }
    return keys;
}

std::ptrdiff_t ProjectSection::CheckedCount() const {
    return std::count_if(checks_.begin(), checks_.end(),
                         [](const QCheckBox* box) { return box->isChecked(); });
}

void ProjectSection::UpdateSelectionCount() {
    selectionCount_->setText(
        Text("label.selected_of_total")
            .arg(static_cast<qlonglong>(CheckedCount()), 0, 10, QLatin1Char(' '))
            .arg(static_cast<qlonglong>(checks_.size()), 0, 10, QLatin1Char(' ')));
}

// The container's own size decides the grid's columns, once the window's layout has given it
// its new width.
bool ProjectSection::eventFilter(QObject* watched, QEvent* event) {
    if (watched == container_ && event->type() == QEvent::Resize) {
        Reflow();
    }
    return QWidget::eventFilter(watched, event);
}

}  // namespace tavrin
