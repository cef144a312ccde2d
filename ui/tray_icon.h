#pragma once

#include <QObject>
#include <cstdint>

class QAction;
class QMenu;
class QSystemTrayIcon;
class QWidget;

namespace tavrin {

// The program's icon in the tray, with its menu (Open, Exit), its messages and, where the
// desktop has no tray yet (a logon still setting up), a retry every 1.5 s. On Windows the menu
// is the system's own, drawn at the icon.
class TrayIcon final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TrayIcon)
public:
    // `window`: where the menu belongs and what the native menu is shown for.
    explicit TrayIcon(QWidget* window);

    // Shows the icon when the desktop has a tray; false when it could not.
    bool Ensure();
    void ScheduleRetry();
    bool RetryPending() const { return retryPending_; }
    // The desktop's message that its taskbar (and with it the tray) was made anew.
    bool IsTaskbarCreated(std::uint32_t messageId) const;
    bool TaskbarMessageKnown() const { return taskbarCreatedMessage_ != 0; }
    void Retranslate();
    void ShowToast(const char* key);
    // The tooltip: the program's name, and the state it is in when there is one to tell.
    void ShowState(const QString& state);
    QString ToolTip() const;
    void Hide();
    QSystemTrayIcon* Icon() const { return icon_; }
    QMenu* Menu() const { return menu_; }

signals:
    void OpenRequested();
    void ExitRequested();

private:
    void OnActivated(int reason);
    void ShowNativeMenu();

    QWidget* window_;
    QMenu* menu_ = nullptr;
    QAction* openAction_ = nullptr;
    QAction* exitAction_ = nullptr;
    QSystemTrayIcon* icon_ = nullptr;
    bool retryPending_ = false;
    QString state_;
    std::uint32_t taskbarCreatedMessage_ = 0;
};

}  // namespace tavrin
