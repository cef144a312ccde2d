// The window's life beside the tray: the tray icon and its menu, toasts, closing to the tray,
// bringing the window forward, and the desktop's messages.
#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include "app/native_window.h"
#include "desktop/single_instance.h"
#include "i18n/translator.h"
#include "ui/tavrin_qt_window.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kTrayRetryMs = 1500;
constexpr int kToastMs = 7000;

// Messages the window reacts to with its title-bar colours.
constexpr unsigned kSettingChange = 26;
constexpr unsigned kThemeChanged = 794;
constexpr unsigned kColorizationChanged = 800;

QIcon ProgramIconAt(int size) {
    const QIcon resource(QStringLiteral(":/assets/app.ico"));
    const QPixmap pixmap = resource.pixmap(size, size);
    return pixmap.isNull() ? QApplication::windowIcon() : QIcon(pixmap);
}

}  // namespace

void TavrinQtWindow::SetUpTray() {
    taskbarCreatedMessage_ = RegisterNamedMessage(L"TaskbarCreated");
    trayMenu_ = new QMenu(this);
    trayMenu_->setObjectName(QStringLiteral("TrayMenu"));
    trayOpenAction_ = trayMenu_->addAction(QString());
    trayMenu_->addSeparator();
    trayExitAction_ = trayMenu_->addAction(QString());
    connect(trayOpenAction_, &QAction::triggered, this, [this] { BringToFront(); });
    connect(trayExitAction_, &QAction::triggered, this, [this] { RequestExit(); });
    if (!EnsureTrayIcon()) {
        ScheduleTrayRetry();
    }
}

bool TavrinQtWindow::EnsureTrayIcon() {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        return false;
    }
    if (trayIcon_ == nullptr) {
        trayIcon_ = new QSystemTrayIcon(this);
        trayIcon_->setObjectName(QStringLiteral("TrayIcon"));
        if (!HasNativeTrayMenu()) {
            trayIcon_->setContextMenu(trayMenu_);
        }
        connect(trayIcon_, &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) { OnTrayActivated(reason); });
    }
    trayIcon_->setIcon(ProgramIconAt(IconSizesOfSystem().smallSize));
    trayIcon_->setToolTip(Text("app.title"));
    if (!trayIcon_->isVisible()) {
        trayIcon_->show();
    }
    return trayIcon_->isVisible();
}

void TavrinQtWindow::ScheduleTrayRetry() {
    if (trayRetryPending_) {
        return;
    }
    trayRetryPending_ = true;
    QTimer::singleShot(kTrayRetryMs, this, [this] {
        trayRetryPending_ = false;
        if (!EnsureTrayIcon()) {
            ScheduleTrayRetry();
        }
    });
}

void TavrinQtWindow::OnTrayActivated(int reason) {
    switch (static_cast<QSystemTrayIcon::ActivationReason>(reason)) {
        case QSystemTrayIcon::Trigger:
        case QSystemTrayIcon::DoubleClick:
        case QSystemTrayIcon::MiddleClick:
            BringToFront();
            break;
        case QSystemTrayIcon::Context:
            ShowTrayContextMenu();
            break;
        default:
            break;
    }
}

void TavrinQtWindow::ShowTrayContextMenu() {
    // Where the tray has no native menu, it shows trayMenu_ by itself.
    if (!HasNativeTrayMenu()) {
        return;
    }
    const QRect icon = trayIcon_ != nullptr ? trayIcon_->geometry() : QRect();
    const TrayMenuChoice choice = ShowNativeTrayMenu(
        static_cast<NativeWindowHandle>(winId()), icon.isValid(), icon.center().x(), icon.top(),
        Text("tray.open").toStdWString(), Text("tray.exit").toStdWString());
    if (choice == TrayMenuChoice::open) {
        BringToFront();
    } else if (choice == TrayMenuChoice::exit) {
        RequestExit();
    }
}

void TavrinQtWindow::RequestExit() {
    exitRequested_ = true;
    close();
    QCoreApplication::quit();
}

void TavrinQtWindow::ShowToast(const char* key) {
    if (trayIcon_ == nullptr || !trayIcon_->isVisible() || !QSystemTrayIcon::supportsMessages()) {
        return;
    }
    trayIcon_->showMessage(Text("app.title"), Text(key), trayIcon_->icon(), kToastMs);
}

void TavrinQtWindow::BringToFront() {
    show();
    if (isMinimized()) {
        showNormal();
    }
    raise();
    activateWindow();
}

void TavrinQtWindow::closeEvent(QCloseEvent* event) {
    if (exitRequested_) {
        FlushPendingSettings(true);
        Shutdown();
        if (trayIcon_ != nullptr) {
            trayIcon_->hide();
        }
        QMainWindow::closeEvent(event);
        return;
    }
    FlushPendingSettings(true);
    event->ignore();
    if (EnsureTrayIcon()) {
        hide();
        ShowToast("toast.app_still_active");
    } else {
        // Never hide a window that nothing could bring back.
        showMinimized();
        ScheduleTrayRetry();
    }
}

void TavrinQtWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    const WId handle = internalWinId();
    if (handle == 0) {
        return;
    }
    ApplyDarkTitleBar(static_cast<NativeWindowHandle>(handle));
    if (!nativeIconsSet_) {
        nativeIconsSet_ = SetNativeWindowIcons(static_cast<NativeWindowHandle>(handle));
    }
}

// The project container's own size decides the grid's columns, once the window's layout has
// given it its new width.
bool TavrinQtWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == projectContainer_ && event->type() == QEvent::Resize) {
        ReflowProjectGrid();
    }
    return QMainWindow::eventFilter(watched, event);
}

bool TavrinQtWindow::nativeEvent(const QByteArray& eventType, void* message, qintptr* result) {
    const bool handled = QMainWindow::nativeEvent(eventType, message, result);
    if (eventType != "windows_generic_MSG" && eventType != "windows_dispatcher_MSG") {
        return handled;
    }
    if ((taskbarCreatedMessage_ == 0 && ShowMainWindowMessage == 0) || message == nullptr) {
        return handled;
    }
    const std::uint32_t id = NativeMessageId(message);
    if (id == kThemeChanged || id == kColorizationChanged || id == kSettingChange) {
        ApplyDarkTitleBar(static_cast<NativeWindowHandle>(winId()));
    }
    if (taskbarCreatedMessage_ != 0 && id == taskbarCreatedMessage_) {
        if (!EnsureTrayIcon()) {
            ScheduleTrayRetry();
        }
        return handled;
    }
    if (ShowMainWindowMessage != 0 && id == ShowMainWindowMessage) {
        BringToFront();
    }
    return handled;
}

}  // namespace tavrin
