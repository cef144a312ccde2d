#pragma once

#include <QMainWindow>
#include <QString>
#include <cstdint>
#include <vector>

#include "settings/project_entry.h"
#include "settings/settings_keeper.h"
#include "settings/settings_record.h"
#include "sync/progress.h"
#include "ui/log_view.h"
#include "ui/message_boxes.h"
#include "ui/password_prompter.h"
#include "ui/progress_section.h"
#include "ui/project_section.h"
#include "ui/sync_controller.h"
#include "ui/tray_icon.h"

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace tavrin {

class CommandBar;
class SettingsDialog;

// The program's one main window. It composes the command bar, the project, sync and log
// sections and the tray icon, keeps the settings record through its keeper, and shows what its
// sync controller (which owns every thread) does.
class TavrinQtWindow final : public QMainWindow {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TavrinQtWindow)
public:
    TavrinQtWindow();
    ~TavrinQtWindow() override;

    void Retranslate();
    void UpdateCommandStates();

    // Settings writes are debounced: a burst of changes writes the file once, 700 ms after
    // the last one.
    void ScheduleSettingsSave() { keeper_->ScheduleSave(); }
    void ScheduleRevisionsSave() { keeper_->ScheduleRevisionsSave(); }
    void FlushPendingSettings(bool force) { keeper_->Flush(force); }

    // Cancels and joins every worker; runs once.
    void Shutdown() { controller_->Shutdown(); }
    SyncController& Controller() { return *controller_; }

    void BringToFront();
    bool EnsureTrayIcon() { return tray_->Ensure(); }
    void ScheduleTrayRetry() { tray_->ScheduleRetry(); }
    void ShowToast(const char* key) { tray_->ShowToast(key); }

    // The project section: lists loaded from the selected servers on a worker thread, one
    // check box per project, ticks kept by project key.
    void RefreshProjectLists(bool force) { controller_->RefreshProjectLists(force, force); }
    QStringList CheckedProjectKeys() const { return projects_->CheckedKeys(); }
    const std::vector<ProjectEntry>& ProjectEntries() const { return projects_->Entries(); }
    void ReflowProjectGrid() { projects_->Reflow(); }

    // The sync command: preconditions, one worker calling the engine per server, the result.
    void RequestSync(bool automatic, const QString& reason);
    void CancelSync();
    bool IsBusy() const { return controller_->IsBusy(); }

    // Auto-sync: one watcher per selected server on its change feed; a reported change asks for
    // an automatic run.
    void RestartAutoSync(bool joinOld);
    void SetAutoSyncActive(bool active) { controller_->SetAutoSyncActive(active); }
    void OnServerChanged(const QString& serverUrl, quint64 revision, const QString& reason) {
        controller_->OnServerChanged(serverUrl, revision, reason);
    }
    void StartInitialAutoSync() { controller_->ApplyAutoSync(true); }
    int RunningAutoSyncWatchers() const { return controller_->RunningWatchers(); }

    // The settings dialog, modal; opened on the tab with this object name when one is given.
    // Accepted values come back into the settings record and the file.
    void OpenSettingsDialog(const QString& tab = QString());
    bool SettingsDialogOpen() const { return settingsDialogOpen_; }

    // Project passwords: asked for in a dialog, remembered per project key.
    bool PromptProjectPassword(const ProjectEntry& entry, bool retry, QString& password) {
        return prompter_->Ask(entry, retry, password);
    }
    void RememberProjectPassword(const QString& serverUrl, const QString& project,
                                 const QString& password) {
        controller_->RememberProjectPassword(serverUrl, project, password);
    }

    // The sync section and the log.
    void ShowProgress(const ProgressMessage& message) {
        progress_->Show(message, controller_->DownloadLimitHolding());
        tray_->ShowSyncing(progress_->Percent());
    }
    void ResetProgress() { progress_->Reset(); }
    void SetProgressPhase(bool comparing, bool force) { progress_->SetPhase(comparing, force); }
    void AppendLog(const QString& text, bool bold) { log_->Append(text, bold); }

    const SettingsRecord& Settings() const { return settings_; }
    const QString& SettingsPath() const { return keeper_->Path(); }
    const QString& ClientIdText() const { return clientId_; }
    QSystemTrayIcon* TrayIcon() const { return tray_->Icon(); }
    QMenu* TrayMenu() const { return tray_->Menu(); }
    bool TrayRetryPending() const { return tray_->RetryPending(); }
    bool IsShuttingDown() const { return controller_->IsShuttingDown(); }

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool nativeEvent(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    void BuildUi();
    void SetUpTray();
    void RequestExit();
    void CheckSettingsFile();
    void LoadSettings();
    void ConnectController();
    void ConnectPasswordQuestions();
    void ApplyAutoSyncState();
    void RefreshAutoSyncBadge();
    void OnProjectListsLoaded(const ListsOutcome& outcome);
    void ShowListsOutcome(const ListsOutcome& outcome);
    void OnProjectToggled();
    void TakeSettingsBack(const SettingsDialog& dialog);
    void OnRunStarted();
    void OnRunFinished(bool ok, bool automatic, const QString& message);
    void ShowBox(int icon, const char* titleKey, const QString& text) {
        ShowMessage(this, icon, titleKey, text);
    }

    SettingsKeeper* keeper_;
    SettingsRecord& settings_;  // the keeper's
    QString clientId_;
    bool autoSyncSwitchedOffAtLoad_ = false;
    QString settingsFileProblem_;  // told once the window stands
    bool settingsDialogOpen_ = false;
    bool exitRequested_ = false;
    bool nativeIconsSet_ = false;

    SyncController* controller_ = nullptr;  // every thread of the window lives there
    PasswordPrompter* prompter_ = nullptr;
    tavrin::TrayIcon* tray_ = nullptr;
    QAction* settingsAction_ = nullptr;
    QAction* legalAction_ = nullptr;
    CommandBar* commandBar_ = nullptr;
    ProjectSection* projects_ = nullptr;
    ProgressSection* progress_ = nullptr;
    LogView* log_ = nullptr;
};

}  // namespace tavrin
