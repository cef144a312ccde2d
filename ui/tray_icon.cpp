#include "ui/tray_icon.h"

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTime>
#include <QTimer>
#include <QUrl>

#include "app/native_window.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kTrayRetryMs = 1500;
constexpr int kToastMs = 7000;

QIcon ProgramIconAt(int size) {
    const QIcon resource(QStringLiteral(":/assets/app.ico"));
    const QPixmap pixmap = resource.pixmap(size, size);
    return pixmap.isNull() ? QApplication::windowIcon() : QIcon(pixmap);
}

}  // namespace

TrayIcon::TrayIcon(QWidget* window) : QObject(window), window_(window) {
    taskbarCreatedMessage_ = RegisterNamedMessage(L"TaskbarCreated");
    menu_ = new QMenu(window);
    menu_->setObjectName(QStringLiteral("TrayMenu"));
    AddActions();
}

void TrayIcon::AddActions() {
    const auto add = [this](QMenu* menu, const char* name, auto signal) {
        QAction* action = menu->addAction(QString());
        action->setObjectName(QString::fromLatin1(name));
        connect(action, &QAction::triggered, this, signal);
        return action;
    };
    openAction_ = add(menu_, "TrayOpenAction", &TrayIcon::OpenRequested);
    menu_->addSeparator();
    syncNowAction_ = add(menu_, "TraySyncNowAction", &TrayIcon::SyncNowRequested);
    pauseMenu_ = menu_->addMenu(QString());
    pauseMenu_->setObjectName(QStringLiteral("TrayPauseMenu"));
    pauseHourAction_ = pauseMenu_->addAction(QString());
    pauseHourAction_->setObjectName(QStringLiteral("TrayPauseHourAction"));
    connect(pauseHourAction_, &QAction::triggered, this, [this] { emit PauseRequested(60); });
    pauseUntilResumeAction_ = pauseMenu_->addAction(QString());
    pauseUntilResumeAction_->setObjectName(QStringLiteral("TrayPauseUntilResumeAction"));
    connect(pauseUntilResumeAction_, &QAction::triggered, this, [this] { emit PauseRequested(0); });
    resumeAction_ = add(menu_, "TrayResumeAction", &TrayIcon::ResumeRequested);
    resumeAction_->setVisible(false);
    openFolderAction_ = menu_->addAction(QString());
    openFolderAction_->setObjectName(QStringLiteral("TrayOpenGameFolderAction"));
    connect(openFolderAction_, &QAction::triggered, this, [this] {
        if (gameFolder_ && !gameFolder_().isEmpty()) {
            QDesktopServices::openUrl(QUrl::fromLocalFile(gameFolder_()));
        }
    });
    menu_->addSeparator();
    exitAction_ = add(menu_, "TrayExitAction", &TrayIcon::ExitRequested);
}

void TrayIcon::ShowMenuStates(bool canSync, bool autoSyncOn, bool paused) {
    syncNowAction_->setEnabled(canSync);
    pauseMenu_->menuAction()->setVisible(autoSyncOn && !paused);
    resumeAction_->setVisible(autoSyncOn && paused);
}

bool TrayIcon::Ensure() {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        return false;
    }
    if (icon_ == nullptr) {
        icon_ = new QSystemTrayIcon(window_);
        icon_->setObjectName(QStringLiteral("TrayIcon"));
        if (!HasNativeTrayMenu()) {
            icon_->setContextMenu(menu_);
        }
        connect(icon_, &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) { OnActivated(reason); });
    }
    icon_->setIcon(ProgramIconAt(IconSizesOfSystem().smallSize));
    icon_->setToolTip(ToolTip());
    if (!icon_->isVisible()) {
        icon_->show();
    }
    return icon_->isVisible();
}

void TrayIcon::ScheduleRetry() {
    if (retryPending_) {
        return;
    }
    retryPending_ = true;
    QTimer::singleShot(kTrayRetryMs, this, [this] {
        retryPending_ = false;
        if (!Ensure()) {
            ScheduleRetry();
        }
    });
}

bool TrayIcon::IsTaskbarCreated(std::uint32_t messageId) const {
    return taskbarCreatedMessage_ != 0 && messageId == taskbarCreatedMessage_;
}

bool TrayIcon::ShowAgainAfter(std::uint32_t messageId) {
    if (!IsTaskbarCreated(messageId)) {
        return false;
    }
    if (!Ensure()) {
        ScheduleRetry();
    }
    return true;
}

void TrayIcon::Retranslate() {
    openAction_->setText(Text("tray.open"));
    syncNowAction_->setText(Text("tray.sync_now"));
    pauseMenu_->setTitle(Text("tray.pause_auto_sync"));
    pauseHourAction_->setText(Text("tray.pause_one_hour"));
    pauseUntilResumeAction_->setText(Text("tray.pause_until_resume"));
    resumeAction_->setText(Text("tray.resume_auto_sync"));
    openFolderAction_->setText(Text("tray.open_game_folder"));
    exitAction_->setText(Text("tray.exit"));
    RefreshToolTip();
}

void TrayIcon::ShowState(const QString& state) {
    state_ = state;
    RefreshToolTip();
}

void TrayIcon::ShowSyncing(int percent) {
    if (percent != syncingPercent_) {
        syncingPercent_ = percent;
        RefreshToolTip();
    }
}

void TrayIcon::ShowRunEnded(bool ok, const QString& error) {
    syncingPercent_ = -1;
    lastError_ = ok ? QString() : error;
    if (ok) {
        lastSyncTime_ = QTime::currentTime().toString(QStringLiteral("HH:mm"));
    }
    RefreshToolTip();
}

void TrayIcon::RefreshToolTip() {
    if (icon_ != nullptr) {
        icon_->setToolTip(ToolTip());
    }
}

QString TrayIcon::ToolTip() const {
    QString state = state_;
    if (syncingPercent_ >= 0) {
        state = Text("tray.state_syncing").arg(syncingPercent_);
    } else if (state.isEmpty() && !lastError_.isEmpty()) {
        state = Text("tray.state_error").arg(lastError_);
    } else if (state.isEmpty() && !lastSyncTime_.isEmpty()) {
        state = Text("tray.state_up_to_date").arg(lastSyncTime_);
    }
    return state.isEmpty() ? Text("app.title")
                           : Text("app.title") + QStringLiteral(" \u2013 ") + state;
}

namespace {

std::vector<TrayMenuItem> ItemsOf(const QMenu& menu, std::vector<QAction*>& actions) {
    std::vector<TrayMenuItem> items;
    for (QAction* action : menu.actions()) {
        if (!action->isVisible()) {
            continue;
        }
        TrayMenuItem item;
        if (!action->isSeparator()) {
            item.text = action->text().remove(QLatin1Char('&')).toStdWString();
            item.enabled = action->isEnabled();
        }
        if (action->menu() != nullptr) {
            item.submenu = ItemsOf(*action->menu(), actions);
        } else if (!action->isSeparator()) {
            actions.push_back(action);
            item.id = static_cast<int>(actions.size());
        }
        items.push_back(std::move(item));
    }
    return items;
}

}  // namespace

std::vector<TrayMenuItem> TrayIcon::NativeMenuItems(std::vector<QAction*>& actions) const {
    actions.clear();
    return ItemsOf(*menu_, actions);
}

void TrayIcon::ShowToast(const char* key) {
    if (icon_ == nullptr || !icon_->isVisible() || !QSystemTrayIcon::supportsMessages()) {
        return;
    }
    icon_->showMessage(Text("app.title"), Text(key), icon_->icon(), kToastMs);
}

void TrayIcon::Hide() {
    if (icon_ != nullptr) {
        icon_->hide();
    }
}

void TrayIcon::OnActivated(int reason) {
    switch (static_cast<QSystemTrayIcon::ActivationReason>(reason)) {
        case QSystemTrayIcon::Trigger:
        case QSystemTrayIcon::DoubleClick:
        case QSystemTrayIcon::MiddleClick:
            emit OpenRequested();
            break;
        case QSystemTrayIcon::Context:
            ShowNativeMenu();
            break;
        default:
            break;
    }
}

void TrayIcon::ShowNativeMenu() {
    // Where the tray has no native menu, it shows menu_ by itself.
    if (!HasNativeTrayMenu()) {
        return;
    }
    const QRect area = icon_ != nullptr ? icon_->geometry() : QRect();
    std::vector<QAction*> actions;
    const std::vector<TrayMenuItem> items = NativeMenuItems(actions);
    const int chosen = ShowNativeTrayMenu(static_cast<NativeWindowHandle>(window_->winId()),
                                          area.isValid(), area.center().x(), area.top(), items);
    if (chosen > 0 && static_cast<std::size_t>(chosen) <= actions.size()) {
        actions[static_cast<std::size_t>(chosen) - 1]->trigger();
    }
}

}  // namespace tavrin
