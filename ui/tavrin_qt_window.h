#pragma once

#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <QSet>
#include <QString>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "settings/settings_record.h"
#include "sync/progress.h"
#include "sync/remaining_time.h"
#include "ui/project_entry.h"

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

class SettingsDialog;

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

    // The project section: lists loaded from the selected servers on a worker thread, one
    // check box per project, ticks kept by project key.
    void RefreshProjectLists(bool force);
    QStringList CheckedProjectKeys() const;
    const std::vector<ProjectEntry>& ProjectEntries() const { return projectEntries_; }
    void ReflowProjectGrid();

    // The sync command: preconditions, one worker calling the engine per server, the result.
    void RequestSync(bool automatic, const QString& reason);
    void CancelSync();
    bool IsBusy() const { return busy_.load(); }

    // Auto-sync: one watcher per selected server on its change feed; a reported change asks for
    // an automatic run.
    void RestartAutoSync(bool joinOld);
    void SetAutoSyncActive(bool active);
    void OnServerChanged(const QString& serverUrl, quint64 revision, const QString& reason);
    void StartInitialAutoSync();
    int RunningAutoSyncWatchers() const { return runningWatchers_.load(); }

    // The settings dialog, modal; opened on the tab with this object name when one is given.
    // Accepted values come back into the settings record and the file.
    void OpenSettingsDialog(const QString& tab = QString());
    bool SettingsDialogOpen() const { return settingsDialogOpen_; }

    // Project passwords: asked for in a dialog, remembered per project key.
    bool PromptProjectPassword(const ProjectEntry& entry, bool retry, QString& password);
    void RememberProjectPassword(const QString& serverUrl, const QString& project,
                                 const QString& password);
    bool CheckSelectionPasswords(const QStringList& selection, bool automatic);

    // The sync section and the log.
    void ShowProgress(const ProgressMessage& message);
    void ResetProgress();
    void SetProgressPhase(bool comparing, bool force);
    void AppendLog(const QString& text, bool bold);

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
    bool nativeEvent(const QByteArray& eventType, void* message, qintptr* result) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

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
    void UpdateSelectionCount();
    QStringList AutoSyncSelection() const;
    struct ProjectListsResult {
        std::uint64_t request = 0;
        std::vector<ProjectEntry> entries;
        QStringList warnings;
        bool anyLoaded = false;
    };
    void OnProjectListsLoaded(const ProjectListsResult& result);
    void TakeSettingsBack(const SettingsDialog& dialog);
    QStringList SelectionAfterServerEdit(const std::vector<ServerEntry>& before) const;
    QString SelectedServersSignature() const;
    void MoveKeysOfChangedUrls(const QHash<QString, QString>& changedUrls);
    void RebuildProjectChecks(const QStringList& keys);
    void ShowProjectPlaceholder(const char* key);
    void ClearProjectChecks();
    void OnProjectToggled();
    struct SyncOutcome {
        bool ok = false;
        QString message;
        bool automatic = false;
    };
    void StartSync(bool automatic, const QString& reason, const QString& targetPath,
                   const QStringList& selection, std::vector<ServerWorkItem> items);
    void OnSyncFinished(const SyncOutcome& outcome);
    void WarnModally(const char* titleKey, const QString& text);
    const ProjectEntry* FindProjectEntry(const QString& key) const;
    std::ptrdiff_t CheckedProjectCount() const;
    bool IsTargetUsable() const;
    void JoinRetiredThreads();

    // Settings and identity.
    QString settingsPath_;
    QString clientId_;
    SettingsRecord settings_;
    bool autoSyncSwitchedOffAtLoad_ = false;
    std::mutex revisionsMutex_;  // guards settings_.autoSyncRevisions

    // State.
    std::atomic<bool> busy_{false};
    std::atomic<bool> starting_{false};
    std::atomic<bool> syncWorkerDone_{true};
    bool followUpPending_ = false;
    QStringList lastRunSelection_;
    std::chrono::steady_clock::time_point runStarted_;
    QSet<QString> passwordPromptsOpen_;
    QHash<QString, bool> passwordPromptAnswered_;
    QHash<QString, QString> passwordPromptAnswers_;
    std::atomic<bool> cancelRequested_{false};
    std::atomic<bool> shuttingDown_{false};
    std::atomic<std::uint64_t> autoSyncGeneration_{1};
    std::atomic<int> runningWatchers_{0};
    bool initialSyncWaitsForLists_ = false;
    bool settingsDialogOpen_ = false;
    bool listsStaleAfterRun_ = false;  // the servers changed during a run
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
    std::vector<ProjectEntry> projectEntries_;
    QString projectListSignature_;
    QStringList keysToRestore_;
    std::atomic<std::uint64_t> projectListRequest_{0};
    QLabel* syncTitle_ = nullptr;
    QLabel* autoSyncBadge_ = nullptr;
    QLabel* currentFile_ = nullptr;
    QProgressBar* progressBar_ = nullptr;
    QLabel* bytesLabel_ = nullptr;
    QLabel* speedLabel_ = nullptr;
    QLabel* etaLabel_ = nullptr;
    QLabel* logTitle_ = nullptr;
    QTextEdit* logView_ = nullptr;
    bool progressRunning_ = false;
    bool cancelShown_ = false;
    bool lastPhaseComparing_ = false;
    bool phaseApplied_ = false;
    RemainingTimeEstimator remaining_;
    QSystemTrayIcon* trayIcon_ = nullptr;
    QMenu* trayMenu_ = nullptr;
    QAction* trayOpenAction_ = nullptr;
    QAction* trayExitAction_ = nullptr;
};

}  // namespace tavrin
