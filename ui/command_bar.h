#pragma once

#include <QToolBar>

class QAction;

namespace tavrin {

// The bar under the menu: refresh the project lists (F5), sync (Ctrl+Return) and, while a run
// is under way, stop (Escape).
class CommandBar final : public QToolBar {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(CommandBar)
public:
    explicit CommandBar(QWidget* parent = nullptr);

    void Retranslate();
    void ShowStates(bool busy, bool canSync, bool canRefresh);

signals:
    void RefreshRequested();
    void SyncRequested();
    void StopRequested();

private:
    QAction* refresh_ = nullptr;
    QAction* sync_ = nullptr;
    QAction* stop_ = nullptr;
};

}  // namespace tavrin
