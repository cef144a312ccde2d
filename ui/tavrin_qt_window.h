#pragma once

#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <QSet>
#include <QString>
#include <chrono>
#include <cstdint>
#include <vector>

#include "settings/settings_record.h"
#include "sync/progress.h"
#include "sync/remaining_time.h"
#include "settings/project_entry.h"
#include "ui/sync_controller.h"

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

// The program's one main window: it owns the user-interface state, the settings record and
// the tray icon, and shows what its sync controller (which owns every thread) does.
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

    // Cancels and joins every worker; runs once.
    void Shutdown();
    SyncController& Controller() { return *controller_; }

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
    bool IsBusy() const { return controller_->IsBusy(); }

    // Auto-sync: one watcher per selected server on its change feed; a reported change asks for
    // an automatic run.
    void RestartAutoSync(bool joinOld);
    void SetAutoSyncActive(bool active);
    void OnServerChanged(const QString& serverUrl, quint64 revision, const QString& reason);
    void StartInitialAutoSync();
    int RunningAutoSyncWatchers() const { return controller_->RunningWatchers(); }

    // The settings dialog, modal; opened on the tab with this object name when one is given.
    // Accepted values come back into the settings record and the file.
    void OpenSettingsDialog(const QString& tab = QString());
    bool SettingsDialogOpen() const { return settingsDialogOpen_; }

    // Project passwords: asked for in a dialog, remembered per project key.
    bool PromptProjectPassword(const ProjectEntry& entry, bool retry, QString& password);
    void RememberProjectPassword(const QString& serverUrl, const QString& project,
                                 const QString& password);

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
    bool IsShuttingDown() const { return controller_->IsShuttingDown(); }

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
    void CheckSettingsFile();
    void ConnectController();
    void ApplyAutoSyncState();
    void RefreshAutoSyncBadge();
    void UpdateSelectionCount();
    QStringList AutoSyncSelection() const;
    void OnProjectListsLoaded(const ListsOutcome& outcome);
    void ForgetRemovedServers();
    void TakeSettingsBack(const SettingsDialog& dialog);
    QStringList SelectionAfterServerEdit(const std::vector<ServerEntry>& before) const;
    QString SelectedServersSignature() const;
    void MoveKeysOfChangedUrls(const QHash<QString, QString>& changedUrls);
    void RebuildProjectChecks(const QStringList& keys);
    void ShowProjectPlaceholder(const char* key);
    void ClearProjectChecks();
    void OnProjectToggled();
    void OnRunStarted();
    void OnRunFinished(bool ok, bool automatic, const QString& message);
    void CancelOpenPrompts();
    void WarnModally(const char* titleKey, const QString& text);
    std::ptrdiff_t CheckedProjectCount() const;
    bool IsTargetUsable() const;

    // Settings and identity.
    QString settingsPath_;
    QString clientId_;
    SettingsRecord settings_;
    bool autoSyncSwitchedOffAtLoad_ = false;
    // The settings file could not be read and not be moved aside: it is never written over.
    bool settingsWriteBlocked_ = false;
    QString settingsFileProblem_;  // told once the window stands

    // State.
    std::chrono::steady_clock::time_point runStarted_;
    QSet<QString> passwordPromptsOpen_;
    QHash<QString, bool> passwordPromptAnswered_;
    QHash<QString, QString> passwordPromptAnswers_;
    bool settingsDialogOpen_ = false;
    bool settingsSavePending_ = false;
    bool revisionsSavePending_ = false;
    bool suppressSettingsSave_ = false;
    bool exitRequested_ = false;
    bool trayRetryPending_ = false;
    bool nativeIconsSet_ = false;
    std::uint32_t taskbarCreatedMessage_ = 0;
    QTimer* saveTimer_ = nullptr;

    SyncController* controller_ = nullptr;  // every thread of the window lives there

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
