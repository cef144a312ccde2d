#pragma once

#include <QStringList>
#include <QWidget>
#include <vector>

#include "settings/project_entry.h"

class QCheckBox;
class QGridLayout;
class QLabel;

namespace tavrin {

// Columns of the project grid for a container this wide (a negative width: no container).
int ProjectGridColumns(int containerWidth);
// The grid's minimum height for this many rows.
int ProjectGridMinimumHeight(int rows, int verticalSpacing);

// The project section: the selected servers' projects as a grid of check boxes, as many
// columns as the width allows, or a placeholder saying why there are none.
class ProjectSection final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ProjectSection)
public:
    explicit ProjectSection(QWidget* parent = nullptr);

    void Retranslate();
    // The projects on show; the ticks are read from them, so a server's new address reaches
    // the keys once the entries carry it.
    const std::vector<ProjectEntry>& Entries() const { return entries_; }
    std::vector<ProjectEntry>& Entries() { return entries_; }
    void SetEntries(std::vector<ProjectEntry> entries) { entries_ = std::move(entries); }
    // One box per entry, ticked when its key is among `keys`.
    void ShowProjects(const QStringList& keys, bool enabled);
    void ShowPlaceholder(const char* key);
    void SetEnabledForRun(bool enabled);
    QStringList CheckedKeys() const;
    std::ptrdiff_t CheckedCount() const;
    void Reflow();
    // "n of m selected"; the boxes keep it current, a placeholder leaves it to the caller.
    void UpdateSelectionCount();

signals:
    void Toggled();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ClearChecks();

    std::vector<ProjectEntry> entries_;
    std::vector<QCheckBox*> checks_;
    QLabel* title_ = nullptr;
    QLabel* hint_ = nullptr;
    QLabel* selectionCount_ = nullptr;
    QWidget* container_ = nullptr;
    QGridLayout* grid_ = nullptr;
    QLabel* placeholder_ = nullptr;
};

}  // namespace tavrin
