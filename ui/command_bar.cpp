#include "ui/command_bar.h"

#include <QAction>

#include "widgets/command_icons.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

void Translate(QAction* action, const char* textKey, const char* tipKey) {
    action->setText(Text(textKey));
    action->setToolTip(Text(tipKey));
}

}  // namespace

CommandBar::CommandBar(QWidget* parent) : QToolBar(parent) {
    setObjectName(QStringLiteral("CommandBar"));
    setMovable(false);
    setFloatable(false);
    setContextMenuPolicy(Qt::PreventContextMenu);
    setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    setIconSize(QSize(14, 14));

    refresh_ = addAction(RenderSvgIcon(RefreshIconSvg(), QSize(14, 14)), QString());
    refresh_->setObjectName(QStringLiteral("RefreshAction"));
    refresh_->setShortcut(QKeySequence(Qt::Key_F5));
    sync_ = addAction(RenderSvgIcon(SyncIconSvg(), QSize(14, 14)), QString());
    sync_->setObjectName(QStringLiteral("SyncAction"));
    sync_->setShortcut(QKeySequence(QStringLiteral("Ctrl+Return")));
    stop_ = addAction(RenderSvgIcon(StopIconSvg(), QSize(13, 13)), QString());
    stop_->setObjectName(QStringLiteral("StopAction"));
    stop_->setShortcut(QKeySequence(Qt::Key_Escape));
    stop_->setVisible(false);
    connect(refresh_, &QAction::triggered, this, &CommandBar::RefreshRequested);
    connect(sync_, &QAction::triggered, this, &CommandBar::SyncRequested);
    connect(stop_, &QAction::triggered, this, &CommandBar::StopRequested);
}

void CommandBar::Retranslate() {
    setWindowTitle(Text("toolbar.commands"));
    Translate(refresh_, "action.refresh_projects", "tooltip.refresh_projects");
    Translate(sync_, "action.sync", "tooltip.sync");
    Translate(stop_, "action.stop", "tooltip.stop");
}

void CommandBar::ShowStates(bool busy, bool canSync, bool canRefresh) {
    sync_->setEnabled(canSync);
    stop_->setEnabled(busy);
    stop_->setVisible(busy);
    refresh_->setEnabled(canRefresh);
}

}  // namespace tavrin
