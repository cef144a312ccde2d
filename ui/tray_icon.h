#pragma once

#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>
#include <vector>

#include "app/native_window.h"

class QAction;
class QMenu;
class QSystemTrayIcon;
class QWidget;

namespace tavrin {

// The program's icon in the tray, with its menu (Open, Sync now, Pause or Resume auto-sync,
// Open game folder, Exit), its tooltip telling the state, its messages and, where the desktop
// has no tray yet (a logon still setting up), a retry every 1.5 s. On Windows the menu is the
// system's own, drawn at the icon from the same actions.
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
    // After the desktop's taskbar was made anew, the icon is shown again. True for that
    // message.
    bool ShowAgainAfter(std::uint32_t messageId);
    // Where "Open game folder" leads: the game folder as the settings hold it now.
    void SetGameFolderSource(std::function<QString()> source) { gameFolder_ = std::move(source); }
    bool TaskbarMessageKnown() const { return taskbarCreatedMessage_ != 0; }
    void Retranslate();
    void ShowToast(const char* key);
    // What the menu offers now.
    void ShowMenuStates(bool canSync, bool autoSyncOn, bool paused);
    // The tooltip: the program's name and its state, the first of: syncing with its
    // percentage; what auto-sync waits for (`state`); the last run's error; up to date since
    // the last run's end.
    void ShowState(const QString& state);
    void ShowSyncing(int percent);
    void ShowRunEnded(bool ok, const QString& error);
    QString ToolTip() const;
    // The native menu's entries, made from the Qt menu's visible actions; `actions` receives
    // the action of each command id (id - 1).
    std::vector<TrayMenuItem> NativeMenuItems(std::vector<QAction*>& actions) const;
    void Hide();
    QSystemTrayIcon* Icon() const { return icon_; }
    QMenu* Menu() const { return menu_; }

signals:
    void OpenRequested();
    void ExitRequested();
    void SyncNowRequested();
    void PauseRequested(int minutes);  // 0: until the player resumes
    void ResumeRequested();

private:
    void OnActivated(int reason);
    void ShowNativeMenu();
    void AddActions();
    void RefreshToolTip();

    QWidget* window_;
    QMenu* menu_ = nullptr;
    QAction* openAction_ = nullptr;
    QAction* exitAction_ = nullptr;
    QAction* syncNowAction_ = nullptr;
    QMenu* pauseMenu_ = nullptr;
    QAction* pauseHourAction_ = nullptr;
    QAction* pauseUntilResumeAction_ = nullptr;
    QAction* resumeAction_ = nullptr;
    QAction* openFolderAction_ = nullptr;
    int syncingPercent_ = -1;  // -1: no run
    QString lastError_;
    QString lastSyncTime_;
    std::function<QString()> gameFolder_;
    QSystemTrayIcon* icon_ = nullptr;
    bool retryPending_ = false;
    QString state_;
    std::uint32_t taskbarCreatedMessage_ = 0;
};

}  // namespace tavrin
