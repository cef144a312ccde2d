#include "ui/tavrin_qt_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFrame>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

#include "app/app_paths.h"
#include "app/client_id.h"
#include "app/native_window.h"
#include "desktop/autostart.h"
#include "desktop/settings_hooks.h"
#include "desktop/single_instance.h"
#include "i18n/legal_texts.h"
#include "i18n/utf8_conversion.h"
#include "net/server_endpoint.h"
#include "settings/settings_store.h"
#include "settings_dialog/settings_dialog.h"
#include "sync/path_safety.h"
#include "ui/command_bar.h"
#include "widgets/section_parts.h"
#include "widgets/theme.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kReadyMessageMs = 2500;
constexpr int kStartupToastDelayMs = 450;
constexpr int kLoadedMessageMs = 3500;
constexpr int kFailedMessageMs = 5000;

ThroughputRates LearntRates(const SettingsRecord& settings) {
    return {settings.downloadBytesPerSecond, settings.downloadFilesPerSecond,
            settings.compareFilesPerSecond};
}

}  // namespace

TavrinQtWindow::TavrinQtWindow()
    : keeper_(new SettingsKeeper(QString::fromStdWString(PathToWide(SettingsFilePath())), this)),
      settings_(keeper_->Record()) {
    CheckSettingsFile();  // before anything reads or writes a key of it
    settings_.language = CurrentLanguageSetting(keeper_->Path());
    if (!SetLanguage(settings_.language.toStdString())) {
        SetLanguage("en");
    }
    settings_.language = QString::fromStdString(CurrentLanguage());
    setWindowTitle(Text("app.title"));
    setWindowIcon(QApplication::windowIcon());
    setMinimumSize(560, 350);
    resize(760, 560);
    clientId_ = QString::fromStdWString(ClientId(SettingsFilePath()));
    controller_ = new SyncController(settings_, clientId_, this);
    prompter_ = new PasswordPrompter(this);

    SetUpTray();
    BuildUi();
    if (auto* application = qobject_cast<QApplication*>(QCoreApplication::instance())) {
        application->setStyleSheet(ThemeStyleSheet());
    }
    LoadSettings();
    ConnectController();
    Retranslate();
    UpdateCommandStates();
    ApplyAutoSyncState();
    RefreshProjectLists(false);
    statusBar()->showMessage(Text("status.ready"), kReadyMessageMs);
    QTimer::singleShot(kStartupToastDelayMs, this,
                       [this] { ShowToast("toast.app_started_active"); });
    if (!settingsFileProblem_.isEmpty()) {
        QTimer::singleShot(0, this, [this] {
            AppendLog(settingsFileProblem_, true);
            ShowBox(QMessageBox::Warning, "title.settings_file", settingsFileProblem_);
        });
    }
}

TavrinQtWindow::~TavrinQtWindow() {
    FlushPendingSettings(true);
    tray_->Hide();
    Shutdown();
}

// A settings file that cannot be read is never written over, and the window starts with the
// defaults; the player is told once the window stands.
void TavrinQtWindow::CheckSettingsFile() {
    QString aside;
    QString error;
    const SettingsKeeper::FileState state = keeper_->CheckFile(aside, error);
    const QString shown = QDir::toNativeSeparators(keeper_->Path());
    if (state == SettingsKeeper::FileState::keptUnreadable) {
        settingsFileProblem_ = Text("error.settings_file_unreadable_kept").arg(shown, error);
    } else if (state == SettingsKeeper::FileState::movedAside) {
        settingsFileProblem_ =
            Text("error.settings_file_unreadable").arg(shown, QDir::toNativeSeparators(aside));
    }
}

void TavrinQtWindow::BuildUi() {
    settingsAction_ = menuBar()->addAction(QString());
    settingsAction_->setObjectName(QStringLiteral("SettingsAction"));
    legalAction_ = menuBar()->addAction(QStringLiteral("?"));
    legalAction_->setObjectName(QStringLiteral("LegalAction"));
    commandBar_ = new CommandBar(this);
    addToolBar(commandBar_);

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(8, 6, 8, 6);
    projects_ = new ProjectSection(central);
    progress_ = new ProgressSection(central);
    log_ = new LogView(central);
    layout->addWidget(projects_, 0);
    layout->addWidget(MakeDivider(central));
    layout->addWidget(progress_, 0);
    layout->addWidget(MakeDivider(central));
    layout->addWidget(log_, 1);
    setCentralWidget(central);
    statusBar()->setSizeGripEnabled(true);

    // The settings dialog, the legal texts, the project lists and the sync command hang on
    // these; the stop command cancels whatever runs.
    connect(settingsAction_, &QAction::triggered, this, [this] { OpenSettingsDialog(); });
    connect(legalAction_, &QAction::triggered, this, [this] {
        OpenSettingsDialog(settings_.language == QStringLiteral("de")
                               ? QStringLiteral("SettingsLegalTabDe")
                               : QStringLiteral("SettingsLegalTabEn"));
    });
    connect(commandBar_, &CommandBar::RefreshRequested, this,
            [this] { RefreshProjectLists(true); });
    connect(commandBar_, &CommandBar::SyncRequested, this, [this] { RequestSync(false, {}); });
    connect(commandBar_, &CommandBar::StopRequested, this, [this] { CancelSync(); });
    connect(projects_, &ProjectSection::Toggled, this, [this] { OnProjectToggled(); });

    Retranslate();
    RefreshAutoSyncBadge();
    ResetProgress();
}

void TavrinQtWindow::SetUpTray() {
    tray_ = new tavrin::TrayIcon(this);
    connect(tray_, &TrayIcon::OpenRequested, this, [this] { BringToFront(); });
    connect(tray_, &TrayIcon::ExitRequested, this, [this] { RequestExit(); });
    connect(tray_, &TrayIcon::SyncNowRequested, this, [this] { RequestSync(false, {}); });
    connect(tray_, &TrayIcon::PauseRequested, controller_, &SyncController::PauseAutoSync);
    connect(tray_, &TrayIcon::ResumeRequested, controller_, &SyncController::ResumeAutoSync);
    tray_->SetGameFolderSource([this] { return settings_.targetPath.trimmed(); });
    tray_->Retranslate();
    if (!tray_->Ensure()) {
        tray_->ScheduleRetry();
    }
}

void TavrinQtWindow::ConnectController() {
    SyncController* controller = controller_;
    connect(controller, &SyncController::LogLine, this,
            [this](const QString& line) { AppendLog(line, false); });
    connect(controller, &SyncController::ProgressReported, this,
            [this](const ProgressMessage& message) { ShowProgress(message); });
    connect(controller, &SyncController::RunStarted, this, [this] { OnRunStarted(); });
    connect(controller, &SyncController::RunFinished, this,
            [this](bool ok, bool automatic, const QString& message) {
                OnRunFinished(ok, automatic, message);
            });
    connect(controller, &SyncController::ListsLoading, this, [this] {
        projects_->ShowPlaceholder("placeholder.loading_projects");
        statusBar()->showMessage(Text("status.loading_project_list"));
    });
    connect(controller, &SyncController::ListsCleared, this, [this] {
        projects_->SetEntries({});
        projects_->ShowPlaceholder("placeholder.no_servers_configured");
        projects_->UpdateSelectionCount();
        UpdateCommandStates();
    });
    connect(controller, &SyncController::ListsLoaded, this,
            [this](const ListsOutcome& outcome) { OnProjectListsLoaded(outcome); });
    connect(controller, &SyncController::AutoSyncStateChanged, this,
            [this] { RefreshAutoSyncBadge(); });
    connect(controller, &SyncController::SettingsChanged, this, [this] { ScheduleSettingsSave(); });
    connect(controller, &SyncController::RevisionsChanged, this,
            [this] { ScheduleRevisionsSave(); });
    ConnectPasswordQuestions();
}

void TavrinQtWindow::ConnectPasswordQuestions() {
    PasswordQuestions questions;
    questions.ask = [this](const ProjectEntry& entry, bool retry, QString& password) {
        return PromptProjectPassword(entry, retry, password);
    };
    questions.forgetOutcomes = [this] { prompter_->ForgetOutcomes(); };
    questions.cancelOpen = [this] { prompter_->CancelOpen(); };
    controller_->SetPasswordQuestions(std::move(questions));
}

void TavrinQtWindow::Retranslate() {
    setWindowTitle(Text("app.title"));
    settingsAction_->setText(Text("menu.settings"));
    legalAction_->setToolTip(
        QString::fromStdString(LegalTextsFor(CurrentLanguage()).licenseButton));
    commandBar_->Retranslate();
    projects_->Retranslate();
    progress_->Retranslate();
    log_->Retranslate();
    tray_->Retranslate();
    RefreshAutoSyncBadge();
}

void TavrinQtWindow::UpdateCommandStates() {
    const auto serverCount =
        std::count_if(settings_.servers.begin(), settings_.servers.end(),
                      [](const ServerEntry& s) { return !s.url.trimmed().isEmpty(); });
    const bool busy = controller_->IsBusy();
    const bool canSync =
        !busy && serverCount >= 1 && controller_->TargetUsable() && projects_->CheckedCount() >= 1;
    commandBar_->ShowStates(busy, canSync, !busy && serverCount >= 1);
    tray_->ShowMenuStates(canSync, settings_.autoSyncEnabled, controller_->AutoSyncPaused());
    projects_->SetEnabledForRun(!busy);
}

void TavrinQtWindow::RefreshAutoSyncBadge() {
    if (progress_ == nullptr) {
        return;
    }
    const QString waiting = controller_->AutoSyncWaitingText();
    progress_->ShowAutoSyncBadge(settings_.autoSyncEnabled, waiting);
    tray_->ShowState(waiting);
    UpdateCommandStates();
}

void TavrinQtWindow::LoadSettings() {
    keeper_->SetSuppressed(true);
    const QString languageBefore = settings_.language;
    autoSyncSwitchedOffAtLoad_ = keeper_->Load(DesktopSettingsHooks());
    if (settings_.language != languageBefore) {
        if (SetLanguage(settings_.language.toStdString())) {
            Retranslate();
        }
        settings_.language = QString::fromStdString(CurrentLanguage());
    }
    plainHttpAllowed.store(!settings_.httpLockEnabled);
    if (autoSyncSwitchedOffAtLoad_) {
        AppendLog(Text("log.auto_sync_skipped_no_target"), false);
    }
    RefreshAutoSyncBadge();
    keeper_->SetSuppressed(false);
}

void TavrinQtWindow::ApplyAutoSyncState() {
    const bool folderRefused = settings_.autoSyncEnabled && !controller_->TargetUsable() &&
                               !FolderIsAbsent(settings_.targetPath);
    if (folderRefused || autoSyncSwitchedOffAtLoad_) {
        if (folderRefused) {
            AppendLog(Text("log.auto_sync_skipped_no_target"), false);
        }
        autoSyncSwitchedOffAtLoad_ = false;
        settings_.autoSyncEnabled = false;
        RefreshAutoSyncBadge();
        ScheduleSettingsSave();
    }
    controller_->ApplyAutoSync(settings_.autoSyncEnabled);
}

// Auto-sync, as the window's tests drive it.
void TavrinQtWindow::RestartAutoSync(bool joinOld) {
    if (joinOld) {
        Shutdown();
        return;
    }
    controller_->RestartWatchers();
}

void TavrinQtWindow::OnProjectListsLoaded(const ListsOutcome& outcome) {
    projects_->SetEntries(controller_->ProjectEntries());
    ShowListsOutcome(outcome);
    projects_->UpdateSelectionCount();
    UpdateCommandStates();
}

// Lists that came back: every server failing shows its box only when the player asked for
// the lists, or sees the window at start-up; retries and hidden starts say it in the log.
void TavrinQtWindow::ShowListsOutcome(const ListsOutcome& outcome) {
    if (!outcome.anyLoaded) {
        const QString error = outcome.warnings.isEmpty()
                                  ? Text("error.project_list_unavailable_default")
                                  : outcome.warnings.join(QLatin1Char('\n'));
        statusBar()->showMessage(Text("status.project_lists_load_failed"), kFailedMessageMs);
        projects_->ShowPlaceholder("placeholder.project_lists_load_failed");
        if (outcome.requestedByPlayer || (!outcome.retry && isVisible())) {
            ShowBox(QMessageBox::Warning, "title.project_list", error);
        }
        return;
    }
    if (!outcome.warnings.isEmpty() && !outcome.retry) {
        AppendLog(Text("log.warning_with_details").arg(outcome.warnings.join(QStringLiteral("; "))),
                  false);
    }
    if (projects_->Entries().empty()) {
        projects_->ShowPlaceholder("placeholder.no_projects_available");
    } else {
        projects_->ShowProjects(settings_.selectedProjects, !controller_->IsBusy());
    }
    statusBar()->showMessage(Text("status.projects_loaded"), kLoadedMessageMs);
}

void TavrinQtWindow::OnProjectToggled() {
    UpdateCommandStates();
    // The ticks of a server whose list is not on show (it is down, or still loading) stay.
    QStringList selection = CheckedProjectKeys();
    selection << controller_->KeysOfServersWithoutList(settings_.selectedProjects);
    selection.removeDuplicates();
    settings_.selectedProjects = selection;
    ScheduleSettingsSave();
    if (settings_.autoSyncEnabled && settings_.autoSyncProjects.isEmpty()) {
        controller_->RestartWatchers();  // without a selection of its own, auto-sync watches ticks
    }
}

// The settings dialog: filled from the settings record; accepted values are merged back, saved,
// and the project lists and the auto-sync watchers brought in line.
void TavrinQtWindow::OpenSettingsDialog(const QString& tab) {
    if (settingsDialogOpen_ || IsShuttingDown()) {
        return;
    }
    // Auto-sync watches the ticked projects until it is given projects of its own.
    const SettingsDialogValues values =
        DialogValuesOf(settings_, IsAutostartRegistered(), controller_->AutoSyncSelection());
    SettingsDialog dialog(values, projects_->Entries(), this);
    connect(&dialog, &SettingsDialog::LanguageSwitched, this, [this](const QString& code) {
        settings_.language = code;
        Retranslate();
        ScheduleSettingsSave();
    });
    if (!tab.isEmpty()) {
        dialog.ShowTab(tab);
    }
    settingsDialogOpen_ = true;
    const int outcome = dialog.exec();
    settingsDialogOpen_ = false;
    if (outcome == QDialog::Accepted && !IsShuttingDown()) {
        TakeSettingsBack(dialog);
    }
}

void TavrinQtWindow::TakeSettingsBack(const SettingsDialog& dialog) {
    const bool autoSyncBefore = settings_.autoSyncEnabled;
    const QString targetBefore = settings_.targetPath;
    const QStringList watchedBefore = controller_->AutoSyncSelection();
    const SettingsMergeOutcome merged = MergeAcceptedSettings(
        settings_, projects_->Entries(), dialog.Values(), dialog.ChangedUrls(), watchedBefore);
    plainHttpAllowed.store(!settings_.httpLockEnabled);
    if (settings_.autoSyncEnabled && !controller_->TargetUsable() &&
        !FolderIsAbsent(settings_.targetPath)) {
        AppendLog(Text("log.auto_sync_skipped_no_target"), false);
        settings_.autoSyncEnabled = false;
    }
    RefreshAutoSyncBadge();
    ScheduleSettingsSave();
    UpdateCommandStates();

    // A lock switched either way changes which servers can be reached: their lists are fetched
    // again. Otherwise they are fetched only when the selected servers changed. A run in
    // progress holds the lists; they are fetched when it has ended.
    controller_->RefreshProjectLists(merged.httpLockChanged, false);
    // A first run when auto-sync comes on, or when what it keeps in step has changed.
    const bool watchedChanged = !SameProjectKeys(controller_->AutoSyncSelection(), watchedBefore);
    controller_->ApplyAutoSync(settings_.autoSyncEnabled && (!autoSyncBefore || watchedChanged ||
                                                             merged.selectedServersChanged ||
                                                             targetBefore != settings_.targetPath));
}

// The sync command: requests go to the controller, refusals of the player's own requests
// become warning boxes, and a run's start and end reach the display.
void TavrinQtWindow::RequestSync(bool automatic, const QString& reason) {
    if (!automatic && controller_->GameHoldsRuns() && !AskSyncWhileGameRuns(this)) {
        return;
    }
    const SyncRefusal refusal = controller_->RequestSync(automatic, reason, CheckedProjectKeys());
    if (automatic) {
        return;  // automatic refusals are logged by the controller
    }
    const char* titleKey = nullptr;
    const char* textKey = nullptr;
    if (RefusalWarning(refusal, titleKey, textKey)) {
        ShowBox(QMessageBox::Warning, titleKey, Text(textKey));
    }
}

void TavrinQtWindow::OnRunStarted() {
    progress_->RunStarted(LearntRates(settings_));
    tray_->ShowSyncing(0);
    UpdateCommandStates();
}

void TavrinQtWindow::OnRunFinished(bool ok, bool automatic, const QString& message) {
    const ThroughputRates blended = progress_->RunFinished(LearntRates(settings_));
    settings_.downloadBytesPerSecond = blended.downloadBytesPerSecond;
    settings_.downloadFilesPerSecond = blended.downloadFilesPerSecond;
    settings_.compareFilesPerSecond = blended.compareFilesPerSecond;
    AppendLog(message, false);
    tray_->ShowRunEnded(ok, message);
    ResetProgress();
    ScheduleSettingsSave();
    if (!ok && !automatic) {
        ShowBox(QMessageBox::Critical, "title.sync", message);
    }
    UpdateCommandStates();
}

void TavrinQtWindow::CancelSync() {
    if (!controller_->IsBusy()) {
        return;
    }
    progress_->ShowCancelled();
    controller_->CancelSync();
}

// The window's life beside the tray: closing hides it there, Exit quits.
void TavrinQtWindow::RequestExit() {
    exitRequested_ = true;
    close();
    QCoreApplication::quit();
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
    FlushPendingSettings(true);
    if (exitRequested_) {
        Shutdown();
        tray_->Hide();
        QMainWindow::closeEvent(event);
        return;
    }
    event->ignore();
    if (tray_->Ensure()) {
        hide();
        tray_->ShowToast("toast.app_still_active");
    } else {
        // Never hide a window that nothing could bring back.
        showMinimized();
        tray_->ScheduleRetry();
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

bool TavrinQtWindow::nativeEvent(const QByteArray& eventType, void* message, qintptr* result) {
    const bool handled = QMainWindow::nativeEvent(eventType, message, result);
    if (eventType != "windows_generic_MSG" && eventType != "windows_dispatcher_MSG") {
        return handled;
    }
    if ((!tray_->TaskbarMessageKnown() && ShowMainWindowMessage == 0) || message == nullptr) {
        return handled;
    }
    const std::uint32_t id = NativeMessageId(message);
    if (IsColourChangeMessage(id)) {
        ApplyDarkTitleBar(static_cast<NativeWindowHandle>(winId()));
    }
    if (tray_->ShowAgainAfter(id)) {
        return handled;
    }
    if (ShowMainWindowMessage != 0 && id == ShowMainWindowMessage) {
        BringToFront();
    }
    return handled;
}

}  // namespace tavrin
