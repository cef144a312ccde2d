#include "ui/tavrin_qt_window.h"
#include "widgets/ui_text.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFont>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QMenuBar>
#include <QProgressBar>
#include <QSettings>
#include <QStatusBar>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QTextEdit>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>
#include <system_error>

#include "app/app_paths.h"
#include "desktop/autostart.h"
#include "app/client_id.h"
#include "discovery/steam_discovery.h"
#include "i18n/legal_texts.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/server_endpoint.h"
#include "settings/settings_store.h"
#include "sync/path_safety.h"
#include "widgets/command_icons.h"
#include "widgets/theme.h"

namespace tavrin {

namespace {

constexpr int kSaveDelayMs = 700;
constexpr int kReadyMessageMs = 2500;
constexpr int kStartupToastDelayMs = 450;

QFrame* MakeDivider(QWidget* parent) {
    auto* divider = new QFrame(parent);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Plain);
    divider->setObjectName(QStringLiteral("SectionDivider"));
    return divider;
}

QLabel* MakeLabel(const QString& objectName, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setObjectName(objectName);
    return label;
}

}  // namespace

TavrinQtWindow::TavrinQtWindow() {
    settingsPath_ = QString::fromStdWString(PathToWide(SettingsFilePath()));
    CheckSettingsFile();  // before anything reads or writes a key of it
    settings_.language = CurrentLanguageSetting(settingsPath_);
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

    BuildUi();

    saveTimer_ = new QTimer(this);
    saveTimer_->setSingleShot(true);
    saveTimer_->setInterval(kSaveDelayMs);
    connect(saveTimer_, &QTimer::timeout, this, [this] { FlushPendingSettings(false); });

    SetUpTray();
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
            WarnModally("title.settings_file", settingsFileProblem_);
        });
    }
}

TavrinQtWindow::~TavrinQtWindow() {
    FlushPendingSettings(true);
    if (trayIcon_ != nullptr) {
        trayIcon_->hide();
    }
    Shutdown();
}

// A settings file that cannot be read is never written over: it is moved aside (or, when even
// that fails, left alone and never saved to), and the window starts with the defaults.
void TavrinQtWindow::CheckSettingsFile() {
    if (SettingsFileReadable(settingsPath_)) {
        return;
    }
    QString error;
    const QString aside = MoveSettingsFileAside(settingsPath_, error);
    const QString shown = QDir::toNativeSeparators(settingsPath_);
    if (aside.isEmpty()) {
        settingsWriteBlocked_ = true;
        settingsFileProblem_ = Text("error.settings_file_unreadable_kept").arg(shown, error);
    } else {
        settingsFileProblem_ =
            Text("error.settings_file_unreadable").arg(shown, QDir::toNativeSeparators(aside));
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
        ShowProjectPlaceholder("placeholder.loading_projects");
        statusBar()->showMessage(Text("status.loading_project_list"));
    });
    connect(controller, &SyncController::ListsCleared, this, [this] {
        projectEntries_.clear();
        ShowProjectPlaceholder("placeholder.no_servers_configured");
        UpdateSelectionCount();
        UpdateCommandStates();
    });
    connect(controller, &SyncController::ListsLoaded, this,
            [this](const ListsOutcome& outcome) { OnProjectListsLoaded(outcome); });
    connect(controller, &SyncController::AutoSyncStateChanged, this,
            [this] { RefreshAutoSyncBadge(); });
    connect(controller, &SyncController::SettingsChanged, this, [this] { ScheduleSettingsSave(); });
    connect(controller, &SyncController::RevisionsChanged, this,
            [this] { ScheduleRevisionsSave(); });
    PasswordQuestions questions;
    questions.ask = [this](const ProjectEntry& entry, bool retry, QString& password) {
        return PromptProjectPassword(entry, retry, password);
    };
    questions.forgetOutcomes = [this] {
        passwordPromptAnswered_.clear();
        passwordPromptAnswers_.clear();
    };
    questions.cancelOpen = [this] { CancelOpenPrompts(); };
    controller->SetPasswordQuestions(std::move(questions));
}

void TavrinQtWindow::BuildUi() {
    settingsAction_ = menuBar()->addAction(QString());
    settingsAction_->setObjectName(QStringLiteral("SettingsAction"));
    legalAction_ = menuBar()->addAction(QStringLiteral("?"));
    legalAction_->setObjectName(QStringLiteral("LegalAction"));

    BuildCommandBar();

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(8, 6, 8, 6);
    layout->addWidget(BuildProjectSection(), 0);
    layout->addWidget(MakeDivider(central));
    layout->addWidget(BuildSyncSection(), 0);
    layout->addWidget(MakeDivider(central));
    layout->addWidget(BuildLogSection(), 1);
    setCentralWidget(central);

    statusBar()->setSizeGripEnabled(true);

    // The settings dialog, the legal texts, the project lists and the sync command hang on
    // these actions; the stop command cancels whatever runs.
    connect(settingsAction_, &QAction::triggered, this, [this] { OpenSettingsDialog(); });
    connect(legalAction_, &QAction::triggered, this, [this] {
        OpenSettingsDialog(settings_.language == QStringLiteral("de")
                               ? QStringLiteral("SettingsLegalTabDe")
                               : QStringLiteral("SettingsLegalTabEn"));
    });
    connect(stopAction_, &QAction::triggered, this, [this] { CancelSync(); });
    connect(syncAction_, &QAction::triggered, this, [this] { RequestSync(false, QString()); });

    Retranslate();
    UpdateSelectionCount();
    RefreshAutoSyncBadge();
    ResetProgress();
}

void TavrinQtWindow::BuildCommandBar() {
    commandBar_ = addToolBar(QString());
    commandBar_->setObjectName(QStringLiteral("CommandBar"));
    commandBar_->setMovable(false);
    commandBar_->setFloatable(false);
    commandBar_->setContextMenuPolicy(Qt::PreventContextMenu);
    commandBar_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    commandBar_->setIconSize(QSize(14, 14));

    refreshAction_ =
        commandBar_->addAction(RenderSvgIcon(RefreshIconSvg(), QSize(14, 14)), QString());
    refreshAction_->setObjectName(QStringLiteral("RefreshAction"));
    refreshAction_->setShortcut(QKeySequence(Qt::Key_F5));
    syncAction_ = commandBar_->addAction(RenderSvgIcon(SyncIconSvg(), QSize(14, 14)), QString());
    syncAction_->setObjectName(QStringLiteral("SyncAction"));
    syncAction_->setShortcut(QKeySequence(QStringLiteral("Ctrl+Return")));
    stopAction_ = commandBar_->addAction(RenderSvgIcon(StopIconSvg(), QSize(13, 13)), QString());
    stopAction_->setObjectName(QStringLiteral("StopAction"));
    stopAction_->setShortcut(QKeySequence(Qt::Key_Escape));
    stopAction_->setVisible(false);
    connect(refreshAction_, &QAction::triggered, this, [this] { RefreshProjectLists(true); });
}

QWidget* TavrinQtWindow::BuildProjectSection() {
    auto* section = new QWidget;
    auto* grid = new QGridLayout(section);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(3);
    grid->setColumnStretch(1, 1);

    auto* column = new QVBoxLayout;
    column->setContentsMargins(0, 0, 0, 0);
    projectTitle_ = MakeLabel(QStringLiteral("SectionTitle"), section);
    projectHint_ = MakeLabel(QStringLiteral("HintLabel"), section);
    selectionCount_ = MakeLabel(QStringLiteral("HintLabel"), section);
    projectContainer_ = new QWidget(section);
    projectContainer_->setObjectName(QStringLiteral("ProjectContainer"));
    projectContainer_->installEventFilter(this);  // its width decides the grid's columns
    projectGrid_ = new QGridLayout(projectContainer_);
    projectGrid_->setContentsMargins(0, 0, 0, 0);
    projectGrid_->setHorizontalSpacing(8);
    projectGrid_->setVerticalSpacing(3);
    projectPlaceholder_ = MakeLabel(QStringLiteral("HintLabel"), projectContainer_);
    projectPlaceholder_->setProperty("placeholderKey",
                                     QStringLiteral("placeholder.no_projects_loaded"));
    projectGrid_->addWidget(projectPlaceholder_, 0, 0);
    column->addWidget(projectTitle_);
    column->addWidget(projectHint_);
    column->addWidget(selectionCount_);
    column->addWidget(projectContainer_, 1);
    grid->addLayout(column, 0, 0, 1, 2);
    return section;
}

QWidget* TavrinQtWindow::BuildSyncSection() {
    auto* section = new QWidget;
    auto* grid = new QGridLayout(section);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(3);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 0);
    syncTitle_ = MakeLabel(QStringLiteral("SectionTitle"), section);
    autoSyncBadge_ = MakeLabel(QStringLiteral("AutoSyncBadge"), section);
    autoSyncBadge_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    currentFile_ = MakeLabel(QStringLiteral("CurrentFileLabel"), section);
    progressBar_ = new QProgressBar(section);
    progressBar_->setObjectName(QStringLiteral("SyncProgress"));
    progressBar_->setRange(0, 1);
    progressBar_->setValue(0);
    progressBar_->setTextVisible(false);
    bytesLabel_ = MakeLabel(QStringLiteral("BytesLabel"), section);
    speedLabel_ = MakeLabel(QStringLiteral("SpeedLabel"), section);
    etaLabel_ = MakeLabel(QStringLiteral("EtaLabel"), section);
    grid->addWidget(syncTitle_, 0, 0);
    grid->addWidget(autoSyncBadge_, 0, 1, Qt::AlignRight | Qt::AlignVCenter);
    grid->addWidget(currentFile_, 1, 0, 1, 2);
    grid->addWidget(progressBar_, 2, 0, 1, 2);
    grid->addWidget(bytesLabel_, 3, 0, 1, 2);
    grid->addWidget(speedLabel_, 4, 0);
    grid->addWidget(etaLabel_, 4, 1);
    return section;
}

QWidget* TavrinQtWindow::BuildLogSection() {
    auto* section = new QWidget;
    auto* column = new QVBoxLayout(section);
    column->setContentsMargins(0, 0, 0, 0);
    logTitle_ = MakeLabel(QStringLiteral("SectionTitle"), section);
    logView_ = new QTextEdit(section);
    logView_->setObjectName(QStringLiteral("LogView"));
    logView_->setReadOnly(true);
    QFont font(QStringLiteral("Consolas"));
    font.setStyleHint(QFont::Monospace);
    font.setPointSizeF(9.2);
    logView_->setFont(font);
    logView_->setMinimumHeight(96);
    column->addWidget(logTitle_);
    column->addWidget(logView_, 1);
    return section;
}

void TavrinQtWindow::Retranslate() {
    setWindowTitle(Text("app.title"));
    if (settingsAction_ != nullptr) {
        settingsAction_->setText(Text("menu.settings"));
    }
    if (legalAction_ != nullptr) {
        legalAction_->setToolTip(
            QString::fromStdString(LegalTextsFor(CurrentLanguage()).licenseButton));
    }
    if (commandBar_ != nullptr) {
        commandBar_->setWindowTitle(Text("toolbar.commands"));
    }
    const auto setAction = [](QAction* action, const char* textKey, const char* tipKey) {
        if (action != nullptr) {
            action->setText(Text(textKey));
            action->setToolTip(Text(tipKey));
        }
    };
    setAction(refreshAction_, "action.refresh_projects", "tooltip.refresh_projects");
    setAction(syncAction_, "action.sync", "tooltip.sync");
    setAction(stopAction_, "action.stop", "tooltip.stop");
    const auto setLabel = [](QLabel* label, const char* key) {
        if (label != nullptr) {
            label->setText(Text(key));
        }
    };
    setLabel(projectTitle_, "section.project_selection");
    setLabel(projectHint_, "hint.projects_checkbox_select");
    setLabel(syncTitle_, "section.sync");
    setLabel(logTitle_, "section.log");
    if (projectPlaceholder_ != nullptr) {
        projectPlaceholder_->setText(Text(
            projectPlaceholder_->property("placeholderKey").toString().toLatin1().constData()));
    }
    if (trayOpenAction_ != nullptr) {
        trayOpenAction_->setText(Text("tray.open"));
    }
    if (trayExitAction_ != nullptr) {
        trayExitAction_->setText(Text("tray.exit"));
    }
    if (trayIcon_ != nullptr) {
        trayIcon_->setToolTip(Text("app.title"));
    }
    UpdateSelectionCount();
    RefreshAutoSyncBadge();
}

bool TavrinQtWindow::IsTargetUsable() const {
    return IsUsableTargetFolder(
        QDir::toNativeSeparators(settings_.targetPath.trimmed()).toStdWString(),
        settings_.targetValidationEnabled);
}

void TavrinQtWindow::UpdateCommandStates() {
    const auto serverCount =
        std::count_if(settings_.servers.begin(), settings_.servers.end(),
                      [](const ServerEntry& s) { return !s.url.trimmed().isEmpty(); });
    const bool targetValid = IsTargetUsable();
    const auto checked = CheckedProjectCount();
    const bool busy = controller_->IsBusy();
    if (syncAction_ != nullptr) {
        syncAction_->setEnabled(!busy && serverCount >= 1 && targetValid && checked >= 1);
    }
    if (stopAction_ != nullptr) {
        stopAction_->setEnabled(busy);
        stopAction_->setVisible(busy);
    }
    if (refreshAction_ != nullptr) {
        refreshAction_->setEnabled(!busy && serverCount >= 1);
    }
    if (projectContainer_ != nullptr) {
        projectContainer_->setEnabled(!busy);
    }
    for (QCheckBox* box : projectChecks_) {
        box->setEnabled(!busy);
    }
}

std::ptrdiff_t TavrinQtWindow::CheckedProjectCount() const {
    return std::count_if(projectChecks_.begin(), projectChecks_.end(),
                         [](const QCheckBox* box) { return box->isChecked(); });
}

void TavrinQtWindow::UpdateSelectionCount() {
    if (selectionCount_ == nullptr) {
        return;
    }
    const auto checked = CheckedProjectCount();
    selectionCount_->setText(
        Text("label.selected_of_total")
            .arg(static_cast<qlonglong>(checked), 0, 10, QLatin1Char(' '))
            .arg(static_cast<qlonglong>(projectChecks_.size()), 0, 10, QLatin1Char(' ')));
}

void TavrinQtWindow::RefreshAutoSyncBadge() {
    if (autoSyncBadge_ == nullptr) {
        return;
    }
    const bool waiting = controller_ != nullptr && controller_->WaitingForGameFolder();
    autoSyncBadge_->setText(
        Text(waiting ? "badge.auto_sync_waiting_for_game_folder" : "badge.auto_sync_active"));
    if (autoSyncBadge_->property("waiting").toBool() != waiting) {
        autoSyncBadge_->setProperty("waiting", waiting);
        autoSyncBadge_->style()->unpolish(autoSyncBadge_);  // the style sheet reads the property
        autoSyncBadge_->style()->polish(autoSyncBadge_);
    }
    autoSyncBadge_->setVisible(settings_.autoSyncEnabled);
}

void TavrinQtWindow::LoadSettings() {
    suppressSettingsSave_ = true;
    SettingsLoadHooks hooks;
    hooks.discoverGameFolder = [] {
        const auto found = FindGameFolderViaSteam();
        return found ? QString::fromStdWString(*found) : QString();
    };
    hooks.registeredModeOr = [](AutostartMode fallback) { return RegisteredModeOr(fallback); };
    // A folder that is not there at all (a drive not mounted yet) pauses auto-sync instead.
    hooks.isTargetUsable = [](const QString& folder, bool validation) {
        return FolderIsAbsent(folder) || IsUsableTargetFolder(folder.toStdWString(), validation);
    };
    const QString languageBefore = settings_.language;
    autoSyncSwitchedOffAtLoad_ = ReadSettingsFile(settingsPath_, settings_, hooks);
    if (settings_.language != languageBefore) {
        if (SetLanguage(settings_.language.toStdString())) {
            Retranslate();
        }
        settings_.language = QString::fromStdString(CurrentLanguage());
    }
    plainHttpAllowed.store(!settings_.httpLockEnabled);
    {
        QSettings file(settingsPath_, QSettings::IniFormat);
        settings_.autoSyncRevisions = ReadAutoSyncRevisions(file);
    }
    if (autoSyncSwitchedOffAtLoad_) {
        AppendLog(Text("log.auto_sync_skipped_no_target"), false);
    }
    RefreshAutoSyncBadge();
    suppressSettingsSave_ = false;
}

void TavrinQtWindow::ApplyAutoSyncState() {
    const bool folderRefused =
        settings_.autoSyncEnabled && !IsTargetUsable() && !FolderIsAbsent(settings_.targetPath);
    if (folderRefused || autoSyncSwitchedOffAtLoad_) {
        if (folderRefused) {
            AppendLog(Text("log.auto_sync_skipped_no_target"), false);
        }
        autoSyncSwitchedOffAtLoad_ = false;
        settings_.autoSyncEnabled = false;
        RefreshAutoSyncBadge();
        if (!suppressSettingsSave_) {
            settingsSavePending_ = true;
            revisionsSavePending_ = true;
            saveTimer_->start();
        }
    }
    controller_->ApplyAutoSync(settings_.autoSyncEnabled);
}

void TavrinQtWindow::ScheduleSettingsSave() {
    if (suppressSettingsSave_) {
        return;
    }
    settingsSavePending_ = true;
    revisionsSavePending_ = true;
    saveTimer_->start();
}

void TavrinQtWindow::ScheduleRevisionsSave() {
    if (suppressSettingsSave_) {
        return;
    }
    revisionsSavePending_ = true;
    saveTimer_->start();
}

void TavrinQtWindow::FlushPendingSettings(bool force) {
    if (saveTimer_ != nullptr) {
        saveTimer_->stop();
    }
    if (force) {
        settingsSavePending_ = true;
        revisionsSavePending_ = true;
    }
    if (settingsSavePending_) {
        SaveSettings();
        settingsSavePending_ = false;
        revisionsSavePending_ = false;
        return;
    }
    if (revisionsSavePending_) {
        if (!settingsWriteBlocked_) {
            WriteAutoSyncRevisionsFile(settingsPath_, settings_.autoSyncRevisions);
        }
        revisionsSavePending_ = false;
    }
}

void TavrinQtWindow::SaveSettings() {
    if (settingsWriteBlocked_) {
        return;  // the file that could not be read is the player's to rescue
    }
    settings_.language = QString::fromStdString(CurrentLanguage());
    WriteSettingsFile(settingsPath_, settings_, settings_.autoSyncRevisions);
}

void TavrinQtWindow::Shutdown() {
    controller_->Shutdown();
}

// Auto-sync, as the window's tests and settings drive it.
QStringList TavrinQtWindow::AutoSyncSelection() const {
    return controller_->AutoSyncSelection();
}

void TavrinQtWindow::RestartAutoSync(bool joinOld) {
    if (joinOld) {
        Shutdown();
        return;
    }
    controller_->RestartWatchers();
}

void TavrinQtWindow::SetAutoSyncActive(bool active) {
    controller_->SetAutoSyncActive(active);
}

void TavrinQtWindow::OnServerChanged(const QString& serverUrl, quint64 revision,
                                     const QString& reason) {
    controller_->OnServerChanged(serverUrl, revision, reason);
}

void TavrinQtWindow::StartInitialAutoSync() {
    controller_->ApplyAutoSync(true);
}

}  // namespace tavrin
