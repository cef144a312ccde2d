#pragma once

#include <QMainWindow>
#include <QPointer>
#include <QString>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "settings/settings_record.h"

class QAction;
class QCheckBox;
class QFrame;
class QGridLayout;
class QLabel;
class QMenu;
class QProgressBar;
class QSystemTrayIcon;
class QTextEdit;
class QTimer;
class QToolBar;
class QWidget;

namespace tavrin {

// The program's one main window: it owns the user-interface state, the settings record, the
// worker threads and the tray icon.
class TavrinQtWindow : public QMainWindow {
    Q_OBJECT
public:
    TavrinQtWindow();
    ~TavrinQtWindow() override;

    void Retranslate();
    void UpdateCommandStates();

    // Settings writes are debounced: a burst of changes writes the file once, 700 ms after
    // the last one.
    void ScheduleSettingsSave();
    void ScheduleRevisionsSave();
    void FlushPendingSettings(bool force);

    // Hands a thread that must end, but need not be waited for, to the reaper.
    void RetireThread(std::thread thread);
    // Cancels and joins every worker; runs once.
    void Shutdown();

    void BringToFront();
    bool EnsureTrayIcon();
    void ScheduleTrayRetry();
    void ShowToast(const char* key);

    const SettingsRecord& Settings() const { return settings_; }
    const QString& SettingsPath() const { return settingsPath_; }
    const QString& ClientIdText() const { return clientId_; }
    QSystemTrayIcon* TrayIcon() const { return trayIcon_; }
    QMenu* TrayMenu() const { return trayMenu_; }
    bool TrayRetryPending() const { return trayRetryPending_; }
    bool IsShuttingDown() const { return shuttingDown_.load(); }

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool nativeEvent(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    void BuildUi();
    void BuildCommandBar();
    QWidget* BuildProjectSection();
    QWidget* BuildSyncSection();
    QWidget* BuildLogSection();
    void SetUpTray();
    void OnTrayActivated(int reason);
    void ShowTrayContextMenu();
    void RequestExit();
    void LoadSettings();
    void SaveSettings();
    void ApplyAutoSyncState();
    void RefreshAutoSyncBadge();
    void ResetProgress();
    void UpdateSelectionCount();
    std::ptrdiff_t CheckedProjectCount() const;
    bool IsTargetUsable() const;
    void StopSync();
    void JoinRetiredThreads();

    // Settings and identity.
    QString settingsPath_;
    QString clientId_;
    SettingsRecord settings_;
    bool autoSyncSwitchedOffAtLoad_ = false;
    std::mutex revisionsMutex_;  // guards settings_.autoSyncRevisions

    // State.
    bool busy_ = false;
    std::atomic<bool> cancelRequested_{false};
    std::atomic<bool> shuttingDown_{false};
    std::atomic<std::uint64_t> autoSyncGeneration_{1};
    bool settingsSavePending_ = false;
    bool revisionsSavePending_ = false;
    bool suppressSettingsSave_ = false;
    bool exitRequested_ = false;
    bool trayRetryPending_ = false;
    bool nativeIconsSet_ = false;
    std::uint32_t taskbarCreatedMessage_ = 0;
    QTimer* saveTimer_ = nullptr;

    // Threads.
    std::thread syncThread_;
    std::thread projectLoaderThread_;
    std::vector<std::thread> autoSyncThreads_;
    std::mutex retiredMutex_;
    std::vector<std::thread> retiredThreads_;
    std::thread reaperThread_;
    std::atomic<bool> reaperRunning_{false};

    // Widgets.
    QAction* settingsAction_ = nullptr;
    QAction* legalAction_ = nullptr;
    QToolBar* commandBar_ = nullptr;
    QAction* refreshAction_ = nullptr;
    QAction* syncAction_ = nullptr;
    QAction* stopAction_ = nullptr;
    QLabel* projectTitle_ = nullptr;
    QLabel* projectHint_ = nullptr;
    QLabel* selectionCount_ = nullptr;
    QWidget* projectContainer_ = nullptr;
    QGridLayout* projectGrid_ = nullptr;
    QLabel* projectPlaceholder_ = nullptr;
    std::vector<QCheckBox*> projectChecks_;
    QLabel* syncTitle_ = nullptr;
    QLabel* autoSyncBadge_ = nullptr;
    QLabel* currentFile_ = nullptr;
    QProgressBar* progressBar_ = nullptr;
    QLabel* bytesLabel_ = nullptr;
    QLabel* speedLabel_ = nullptr;
    QLabel* etaLabel_ = nullptr;
    QLabel* logTitle_ = nullptr;
    QTextEdit* logView_ = nullptr;
    QSystemTrayIcon* trayIcon_ = nullptr;
    QMenu* trayMenu_ = nullptr;
    QAction* trayOpenAction_ = nullptr;
    QAction* trayExitAction_ = nullptr;
};

}  // namespace tavrin
