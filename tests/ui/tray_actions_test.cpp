// The tray's menu and tooltip: each action does what it says, seen on disk and in the INI, and
// the tooltip tells the state. The same actions feed the native menu on Windows. Real content
// servers on 127.0.0.1 and real folders.
#include <QAction>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QSettings>
#include <QTime>
#include <QUrl>
#include <QtTest>
#include <memory>

#include "i18n/translator.h"
#include "modal_answerer.h"
#include "tests/support/content_server.h"
#include "ui/tavrin_qt_window.h"
#include "ui/tray_icon.h"
#include "ui_sandbox.h"
#include "widgets/ui_text.h"
#include "window_settings.h"

namespace tavrin {

namespace {

using test::FileAt;
using test::MakeGameFolderAt;
using test::ModalAnswerer;
using test::UrlOf;
using test::WindowSettings;

constexpr int kRunMs = 30000;

QAction* Action(const TavrinQtWindow& window, const char* name) {
    return window.findChild<QAction*>(QString::fromLatin1(name));
}

QString Badge(const TavrinQtWindow& window) {
    return window.findChild<QLabel*>(QStringLiteral("AutoSyncBadge"))->text();
}

QString StoredPause(const test::UiSandbox& sandbox) {
    return QSettings(sandbox.SettingsFile(), QSettings::IniFormat)
        .value(QStringLiteral("auto_sync_paused_until"))
        .toString();
}

QString Tip(const QString& state) {
    return Text("app.title") + QStringLiteral(" \u2013 ") + state;
}

}  // namespace

// Records the folders "Open game folder" asks the desktop to show.
class FolderOpener : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public slots:
    void Open(const QUrl& url) { opened.append(url); }
};

class TrayActionsTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    void TheMenuOffersItsActionsInOrderAndTheNativeMenuTheSame() {
        test::UiSandbox sandbox;
        const QString game = sandbox.Root() + QStringLiteral("/Assetto Corsa");
        MakeGameFolderAt(game);
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "first");
        // Nothing ticked: the server's lists load, nothing can be synced yet.
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, {}, "auto_sync_enabled=true\n"));
        ModalAnswerer answerer;
        TavrinQtWindow window;
        auto* tray = window.findChild<TrayIcon*>();
        QVERIFY(tray != nullptr);
        QStringList texts;
        for (QAction* action : tray->Menu()->actions()) {
            texts.append(!action->isVisible() ? QStringLiteral("(hidden) ") + action->text()
                                              : action->text());
        }
        QCOMPARE(texts,
                 (QStringList{
                     QStringLiteral("Open Tavrin"), QString(), QStringLiteral("Sync now"),
                     QStringLiteral("Pause auto-sync"), QStringLiteral("(hidden) Resume auto-sync"),
                     QStringLiteral("Open game folder"), QString(), QStringLiteral("Exit")}));
        std::vector<QAction*> actions;
        const std::vector<TrayMenuItem> items = tray->NativeMenuItems(actions);
        QCOMPARE(items.size(), std::size_t{7});  // the hidden Resume is left out
        QCOMPARE(QString::fromStdWString(items[3].text), QStringLiteral("Pause auto-sync"));
        QCOMPARE(items[3].submenu.size(), std::size_t{2});
        QCOMPARE(QString::fromStdWString(items[3].submenu[1].text),
                 QStringLiteral("Until I resume"));
        QCOMPARE(actions[static_cast<std::size_t>(items[3].submenu[1].id) - 1],
                 Action(window, "TrayPauseUntilResumeAction"));
        QVERIFY(!items[2].enabled);  // nothing ticked, nothing to sync
        QCOMPARE(actions[static_cast<std::size_t>(items.back().id) - 1],
                 Action(window, "TrayExitAction"));
    }

    void SyncNowSyncsTheTickedProjects() {
        test::TickedCars scene;
        auto& [sandbox, game, server] = scene;
        ModalAnswerer answerer;
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(Action(window, "TraySyncNowAction")->isEnabled(), kRunMs);
        Action(window, "TraySyncNowAction")->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/a.txt")), QByteArray("first"),
                                  kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        auto* tray = window.findChild<TrayIcon*>();
        QCOMPARE(tray->ToolTip(),
                 Tip(Text("tray.state_up_to_date")
                         .arg(QTime::currentTime().toString(QStringLiteral("HH:mm")))));
        QVERIFY(answerer.messages.isEmpty());
    }

    // Paused for an hour: kept in the INI, changes wait, Resume runs them.
    void PausingForAnHourHoldsChangesUntilResumed() {
        test::TickedCars scene("auto_sync_enabled=true\n");
        auto& [sandbox, game, server] = scene;
        ModalAnswerer answerer;
        auto window = std::make_unique<TavrinQtWindow>();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/a.txt")), QByteArray("first"),
                                  kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window->IsBusy(), kRunMs);
        Action(*window, "TrayPauseHourAction")->trigger();
        const QString until =
            QDateTime::currentDateTime().addSecs(3600).toString(QStringLiteral("HH:mm"));
        QCOMPARE(Badge(*window), QStringLiteral("Auto-sync paused until ") + until);
        QCOMPARE(window->findChild<TrayIcon*>()->ToolTip(),
                 Tip(QStringLiteral("Auto-sync paused until ") + until));
        QVERIFY(Action(*window, "TrayResumeAction")->isVisible());
        QVERIFY(
            !window->findChild<QMenu*>(QStringLiteral("TrayPauseMenu"))->menuAction()->isVisible());
        window->FlushPendingSettings(true);
        const QDateTime stored = QDateTime::fromString(StoredPause(sandbox), Qt::ISODate);
        QVERIFY2(qAbs(QDateTime::currentDateTimeUtc().secsTo(stored) - 3600) <= 5,
                 qPrintable(StoredPause(sandbox)));
        server.AddFile("Cars", "b.txt", "second");
        server.SetChangeRevision(2);
        QTest::qWait(4000);
        QCOMPARE(FileAt(game + QStringLiteral("/b.txt")), QByteArray("<missing>"));

        Action(*window, "TrayResumeAction")->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/b.txt")), QByteArray("second"),
                                  kRunMs);
        QCOMPARE(Badge(*window), QStringLiteral("Auto-sync on"));
        window->FlushPendingSettings(true);
        QCOMPARE(StoredPause(sandbox), QString());
    }

    // Paused until resumed: the pause outlives a restart.
    void APauseUntilResumedOutlivesARestart() {
        test::TickedCars scene("auto_sync_enabled=true\n");
        auto& [sandbox, game, server] = scene;
        ModalAnswerer answerer;
        {
            TavrinQtWindow window;
            Action(window, "TrayPauseUntilResumeAction")->trigger();
            window.FlushPendingSettings(true);
        }
        QCOMPARE(StoredPause(sandbox), QStringLiteral("until_resumed"));
        TavrinQtWindow window;
        QCOMPARE(Badge(window), QStringLiteral("Auto-sync paused"));
        QTest::qWait(3000);
        QCOMPARE(server.DownloadRequests(), 0);
        Action(window, "TrayResumeAction")->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/a.txt")), QByteArray("first"),
                                  kRunMs);
    }

    void OpenGameFolderShowsTheFolder() {
        test::UiSandbox sandbox;
        const QString game = sandbox.Root() + QStringLiteral("/Assetto Corsa");
        MakeGameFolderAt(game);
        sandbox.WriteSettings(WindowSettings(game, {}, {}));
        FolderOpener opener;
        QDesktopServices::setUrlHandler(QStringLiteral("file"), &opener, "Open");
        TavrinQtWindow window;
        Action(window, "TrayOpenGameFolderAction")->trigger();
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QCOMPARE(opener.opened, QList<QUrl>{QUrl::fromLocalFile(QDir::toNativeSeparators(game))});
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::TrayActionsTest)
#include "tray_actions_test.moc"
