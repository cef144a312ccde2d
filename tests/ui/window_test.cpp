// The main window on the offscreen platform, over real settings files and folders.
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QProgressBar>
#include <QSettings>
#include <QSystemTrayIcon>
#include <QTextEdit>
#include <QToolBar>
#include <QtTest>
#include <chrono>
#include <memory>
#include <thread>

#include "i18n/translator.h"
#include "startup/startup.h"
#include "ui/tavrin_qt_window.h"
#include "ui/thread_reaper.h"
#include "ui_sandbox.h"
#include "write_counter.h"

namespace tavrin {

namespace {

QAction* Action(const TavrinQtWindow& window, const char* name) {
    auto* action = window.findChild<QAction*>(QString::fromLatin1(name));
    if (action == nullptr) {
        qFatal("no action %s", name);
    }
    return action;
}

QLabel* Label(const TavrinQtWindow& window, const char* name) {
    return window.findChild<QLabel*>(QString::fromLatin1(name));
}

// Whether a pixmap has any pixel that is not fully transparent.
bool HasInk(const QIcon& icon, QSize size) {
    const QImage image = icon.pixmap(size).toImage();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) != 0) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace

class WindowTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    void WithoutServersNothingCanBeRefreshedOrSynced() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        QCOMPARE(window.windowTitle(), QStringLiteral("Tavrin"));
        QVERIFY(!Action(window, "RefreshAction")->isEnabled());
        QVERIFY(!Action(window, "SyncAction")->isEnabled());
        QVERIFY(!Action(window, "StopAction")->isVisible());
        QVERIFY(!Action(window, "StopAction")->isEnabled());
        const auto labels =
            window.findChild<QWidget*>(QStringLiteral("ProjectContainer"))->findChildren<QLabel*>();
        QCOMPARE(labels.size(), 1);
        QCOMPARE(labels.front()->text(),
                 QStringLiteral("No server set up yet. Add one in the settings."));
        QCOMPARE(window.minimumSize(), QSize(560, 350));
    }

    void WithAServerButNoProjectOnlyRefreshIsOffered() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        sandbox.WriteSettings("[General]\ntarget_path=" + game.toUtf8() +
                              "\n[Domains]\ncount=1\ndomain_0_url=https://a.example\n");
        TavrinQtWindow window;
        QVERIFY(Action(window, "RefreshAction")->isEnabled());
        QVERIFY(!Action(window, "SyncAction")->isEnabled());
        QCOMPARE(window.Settings().servers.size(), std::size_t{1});
        QCOMPARE(window.Settings().targetPath, QDir::toNativeSeparators(game));
    }

    void TheMenuBarAndCommandBarCarryTheirTextsShortcutsAndIcons() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        QCOMPARE(Action(window, "SettingsAction")->text(), QStringLiteral("Settings"));
        QCOMPARE(Action(window, "LegalAction")->text(), QStringLiteral("?"));
        QCOMPARE(Action(window, "LegalAction")->toolTip(), QStringLiteral("Show license / EULA"));
        auto* bar = window.findChild<QToolBar*>(QStringLiteral("CommandBar"));
        QVERIFY(bar != nullptr);
        QVERIFY(!bar->isMovable());
        QVERIFY(!bar->isFloatable());
        QCOMPARE(bar->contextMenuPolicy(), Qt::PreventContextMenu);
        QCOMPARE(bar->toolButtonStyle(), Qt::ToolButtonTextBesideIcon);
        QCOMPARE(bar->iconSize(), QSize(14, 14));
        QCOMPARE(bar->windowTitle(), QStringLiteral("Commands"));
        QCOMPARE(bar->actions(),
                 (QList<QAction*>{Action(window, "RefreshAction"), Action(window, "SyncAction"),
                                  Action(window, "StopAction")}));
        QCOMPARE(Action(window, "RefreshAction")->shortcut(), QKeySequence(Qt::Key_F5));
        QCOMPARE(Action(window, "SyncAction")->shortcut(),
                 QKeySequence(QStringLiteral("Ctrl+Return")));
        QCOMPARE(Action(window, "StopAction")->shortcut(), QKeySequence(Qt::Key_Escape));
        QCOMPARE(Action(window, "SyncAction")->text(), QStringLiteral("Sync"));
        QCOMPARE(Action(window, "StopAction")->toolTip(),
                 QStringLiteral("Stop the running sync (Esc)"));
        QVERIFY(HasInk(Action(window, "RefreshAction")->icon(), QSize(14, 14)));
        QVERIFY(HasInk(Action(window, "SyncAction")->icon(), QSize(14, 14)));
        QVERIFY(HasInk(Action(window, "StopAction")->icon(), QSize(13, 13)));
    }

    void TheSyncSectionStartsIdle() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        QCOMPARE(Label(window, "CurrentFileLabel")->text(), QStringLiteral("Current file: none"));
        QCOMPARE(Label(window, "BytesLabel")->text(), QStringLiteral("Data: 0 B / 0 B"));
        QCOMPARE(Label(window, "SpeedLabel")->text(), QStringLiteral("Speed: –"));
        QCOMPARE(Label(window, "EtaLabel")->text(), QStringLiteral("Time remaining: unknown"));
        auto* progress = window.findChild<QProgressBar*>(QStringLiteral("SyncProgress"));
        QCOMPARE(progress->maximum(), 100);
        // Idle, the bar has the download phase's blue chunk.
        QVERIFY(progress->styleSheet().contains(QStringLiteral("stop:0 #1f74cf, stop:1 #33a6e3")));
        QCOMPARE(progress->value(), 0);
        QVERIFY(!progress->isTextVisible());
        auto* log = window.findChild<QTextEdit*>(QStringLiteral("LogView"));
        QVERIFY(log->isReadOnly());
        QCOMPARE(log->font().family(), QStringLiteral("Consolas"));
        QCOMPARE(log->minimumHeight(), 96);
        QCOMPARE(window.findChildren<QFrame*>(QStringLiteral("SectionDivider")).size(), 2);
        QCOMPARE(window.findChildren<QLabel*>(QStringLiteral("SectionTitle")).size(), 3);
    }

    void TheThemeCoversEverySelector() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        const QString sheet = qApp->styleSheet();
        for (const char* selector : {"QMainWindow",
                                     "QMenuBar::item",
                                     "QMenu::item",
                                     "QStatusBar",
                                     "QToolBar#CommandBar",
                                     "QToolButton:hover",
                                     "QToolButton:pressed",
                                     "QToolButton:disabled",
                                     "QToolButton:checked",
                                     "QFrame#SectionDivider",
                                     "QLabel#SectionTitle",
                                     "QLabel#HintLabel",
                                     "QLabel#DangerHintLabel",
                                     "QLabel#AutoSyncBadge",
                                     "QComboBox::drop-down",
                                     "QPushButton#SecondaryButton",
                                     "QPushButton#GhostButton",
                                     "QPushButton#PrimaryButton",
                                     "QProgressBar::chunk",
                                     "QCheckBox#ProjectCheck",
                                     "QDialog#SettingsDialog QTabWidget::pane",
                                     "QDialog#SettingsDialog QTabBar::tab",
                                     "SettingsLegalTabQt",
                                     "QDialog#SettingsDialog QGroupBox"}) {
            QVERIFY2(sheet.contains(QLatin1String(selector)), selector);
        }
        QVERIFY(sheet.contains(QStringLiteral("#1f2228")));
    }

    void AMissingLanguageShowsEnglishAndAStoredOneIsApplied() {
        {
            test::UiSandbox sandbox;
            sandbox.WriteSettings("[General]\nhttp_lock_enabled=true\n");
            TavrinQtWindow window;
            QCOMPARE(Action(window, "SettingsAction")->text(), QStringLiteral("Settings"));
        }
        test::UiSandbox sandbox;
        sandbox.WriteSettings("[General]\nlanguage=DE-de\n");
        TavrinQtWindow window;
        QCOMPARE(window.Settings().language, QStringLiteral("de"));
        QCOMPARE(Action(window, "SettingsAction")->text(), QStringLiteral("Einstellungen"));
        QCOMPARE(Action(window, "SyncAction")->text(), QStringLiteral("Synchronisieren"));
        SetLanguage("en");
        window.Retranslate();
        QCOMPARE(Action(window, "SyncAction")->text(), QStringLiteral("Sync"));
    }

    void AutoSyncWithAnUnusableFolderIsSwitchedOffAndWrittenOnce() {
        test::UiSandbox sandbox;
        // The folder is there but is no game folder: auto-sync cannot work with it.
        QVERIFY(QDir().mkpath(sandbox.Root() + QStringLiteral("/not-the-game")));
        sandbox.WriteSettings("[General]\nauto_sync_enabled=true\ntarget_path=" +
                              sandbox.Root().toUtf8() + "/not-the-game\n");
        auto window = std::make_unique<TavrinQtWindow>();
        test::WriteCounter writes(sandbox.SettingsFile());
        QVERIFY(!window->Settings().autoSyncEnabled);
        QVERIFY(Label(*window, "AutoSyncBadge")->isHidden());
        QCOMPARE(Label(*window, "AutoSyncBadge")->text(), QStringLiteral("Auto-sync on"));
        QTest::qWait(400);
        QCOMPARE(writes.Count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(writes.Count(), 1, 2000);
        QTest::qWait(900);
        QCOMPARE(writes.Count(), 1);
        QCOMPARE(QSettings(sandbox.SettingsFile(), QSettings::IniFormat)
                     .value(QStringLiteral("auto_sync_enabled"))
                     .toBool(),
                 false);
    }

    void AutoSyncWithAGameFolderShowsTheBadge() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings("[General]\nauto_sync_enabled=true\ntarget_path=" +
                              sandbox.MakeGameFolder().toUtf8() + "\n");
        TavrinQtWindow window;
        QVERIFY(window.Settings().autoSyncEnabled);
        QVERIFY(!Label(window, "AutoSyncBadge")->isHidden());
    }

    void TenChangesWithin700MsWriteTheFileOnce() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        test::WriteCounter writes(sandbox.SettingsFile());
        for (int i = 0; i < 10; ++i) {
            window.ScheduleSettingsSave();
            QTest::qWait(50);
        }
        QCOMPARE(writes.Count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(writes.Count(), 1, 2000);
        QTest::qWait(900);
        QCOMPARE(writes.Count(), 1);
    }

    void ARevisionsSaveWritesOnlyTheRevisions() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        test::WriteCounter writes(sandbox.SettingsFile());
        window.ScheduleRevisionsSave();
        QTRY_COMPARE_WITH_TIMEOUT(writes.Count(), 1, 2000);
        const QByteArray text = sandbox.ReadSettings();
        QVERIFY2(text.contains("[AutoSyncRevisions]\nsize=0"), text.constData());
        QVERIFY2(!text.contains("selected_domains"), text.constData());
    }

    void PendingChangesAreWrittenWhenTheWindowGoes() {
        test::UiSandbox sandbox;
        auto window = std::make_unique<TavrinQtWindow>();
        test::WriteCounter writes(sandbox.SettingsFile());
        window->ScheduleSettingsSave();
        window.reset();
        QCOMPARE(writes.Count(), 1);
        QVERIFY(sandbox.ReadSettings().contains("selected_domains"));
    }

    void ClosingWithoutATrayMinimisesAndRetries() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(!QSystemTrayIcon::isSystemTrayAvailable());
        QVERIFY(window.TrayIcon() == nullptr);
        QVERIFY(window.TrayRetryPending());
        window.close();
        QVERIFY(window.isVisible());
        QTRY_VERIFY(window.isMinimized());
        QVERIFY(window.TrayRetryPending());
        QVERIFY(!window.IsShuttingDown());
        window.BringToFront();
        QTRY_VERIFY(!window.isMinimized());
        QVERIFY(window.isVisible());
    }

    void RetiredThreadsAreJoinedOnceEndedAndAStuckOneIsLeftBehind() {
        ThreadReaper reaper;
        auto finished = std::make_shared<std::atomic<int>>(0);
        const auto started = std::chrono::steady_clock::now();
        for (int i = 0; i < 3; ++i) {
            TrackedThread thread;
            std::wstring error;
            QVERIFY(thread.Start(error, [finished] {
                std::this_thread::sleep_for(std::chrono::milliseconds(300));
                finished->fetch_add(1);
            }));
            reaper.Retire(std::move(thread));
        }
        QVERIFY(std::chrono::steady_clock::now() - started < std::chrono::milliseconds(250));
        QCOMPARE(finished->load(), 0);
        QCOMPARE(reaper.Held(), std::size_t{3});
        reaper.Retire(TrackedThread());  // nothing to join: ignored
        QCOMPARE(reaper.JoinAll(std::chrono::milliseconds(2000)), std::size_t{0});
        QCOMPARE(finished->load(), 3);

        // A thread stuck in a wait is waited for no longer than the grace, then left behind.
        TrackedThread stuck;
        std::wstring error;
        QVERIFY(stuck.Start(error, [finished] {
            std::this_thread::sleep_for(std::chrono::milliseconds(1500));
            finished->fetch_add(1);
        }));
        reaper.Retire(std::move(stuck));
        const auto quitting = std::chrono::steady_clock::now();
        QCOMPARE(reaper.JoinAll(std::chrono::milliseconds(200)), std::size_t{1});
        QVERIFY(std::chrono::steady_clock::now() - quitting < std::chrono::milliseconds(600));
        QCOMPARE(finished->load(), 3);
        QTRY_COMPARE_WITH_TIMEOUT(finished->load(), 4, 5000);  // it ended by itself

        test::UiSandbox sandbox;
        auto window = std::make_unique<TavrinQtWindow>();
        window->Shutdown();
        QVERIFY(window->IsShuttingDown());
        window->Shutdown();  // runs once only
        window.reset();
    }

    void HiddenStartIsAskedForByEitherSwitch() {
        QVERIFY(WantsHiddenStart({QStringLiteral("tavrin"), QStringLiteral("--start-in-tray")}));
        QVERIFY(WantsHiddenStart({QStringLiteral("tavrin"), QStringLiteral("x"),
                                  QStringLiteral("--minimized-to-tray")}));
        QVERIFY(WantsHiddenStart({QStringLiteral("tavrin"), QStringLiteral("--minimized-to-tray"),
                                  QStringLiteral("--start-in-tray")}));
        QVERIFY(!WantsHiddenStart({QStringLiteral("tavrin"), QStringLiteral("--START-IN-TRAY")}));
        QVERIFY(!WantsHiddenStart({QStringLiteral("tavrin"), QStringLiteral("--start-in-tray=1")}));
    }

    void TheProgramIconComesFromTheResource() {
        QVERIFY(!ApplicationIcon().isNull());
        QVERIFY(!QIcon(QStringLiteral(":/assets/app.ico")).pixmap(16, 16).isNull());
        QVERIFY(
            QIcon(QStringLiteral(":/assets/app.ico")).availableSizes().contains(QSize(256, 256)));
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::WindowTest)
#include "window_test.moc"
