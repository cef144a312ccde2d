#include "ui/tray_icon.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

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
    openAction_ = menu_->addAction(QString());
    menu_->addSeparator();
    exitAction_ = menu_->addAction(QString());
    connect(openAction_, &QAction::triggered, this, &TrayIcon::OpenRequested);
    connect(exitAction_, &QAction::triggered, this, &TrayIcon::ExitRequested);
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

void TrayIcon::Retranslate() {
    openAction_->setText(Text("tray.open"));
    exitAction_->setText(Text("tray.exit"));
    if (icon_ != nullptr) {
        icon_->setToolTip(ToolTip());
    }
}

void TrayIcon::ShowState(const QString& state) {
    state_ = state;
    if (icon_ != nullptr) {
        icon_->setToolTip(ToolTip());
    }
}

QString TrayIcon::ToolTip() const {
    return state_.isEmpty() ? Text("app.title")
                            : Text("app.title") + QStringLiteral(" \u2013 ") + state_;
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
    const TrayMenuChoice choice = ShowNativeTrayMenu(
        static_cast<NativeWindowHandle>(window_->winId()), area.isValid(), area.center().x(),
        area.top(), Text("tray.open").toStdWString(), Text("tray.exit").toStdWString());
    if (choice == TrayMenuChoice::open) {
        emit OpenRequested();
    } else if (choice == TrayMenuChoice::exit) {
        emit ExitRequested();
    }
}

}  // namespace tavrin
