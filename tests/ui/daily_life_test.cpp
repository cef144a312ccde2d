// A player's ordinary day, tested like an attack on the window: servers that are not there at
// logon and come later, one server of two down, settings and F5 during a run, a game folder on
// a drive that is not mounted, a damaged settings file, and a quit in every state, each
// against real content servers on 127.0.0.1 and real folders.
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QInputDialog>
#include <QLabel>
#include <QSettings>
#include <QTimer>
#include <QtTest>
#include <chrono>
#include <functional>
#include <map>
#include <memory>

#include "i18n/translator.h"
#include "modal_answerer.h"
#include "tests/support/address_space_limit.h"
#include "tests/support/content_server.h"
#include "ui/tavrin_qt_window.h"
#include "ui_sandbox.h"
#include "window_settings.h"
#include "wine_limits.h"

namespace tavrin {

namespace {

using test::FileAt;
using test::LogText;
using test::MakeGameFolderAt;
using test::ModalAnswerer;
using test::UrlOf;
using test::WindowSettings;
using Clock = std::chrono::steady_clock;

constexpr int kRunMs = 30000;
constexpr long long kQuitLimitMs = 1000;
const QString kComplete = QStringLiteral("] Sync complete:");

QByteArray AutoSyncOn() {
    return "auto_sync_enabled=true\n";
}

long long MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// Ends the window as the tray's Exit does (the settings written, every thread ended) and
// returns how long that took, printed with the state it was in.
long long TimedQuit(std::unique_ptr<TavrinQtWindow>& window, const char* state) {
    const Clock::time_point start = Clock::now();
    window.reset();
    const long long milliseconds = MillisecondsSince(start);
    qInfo("quit %s: %lld ms", state, milliseconds);
    return milliseconds;
}

QCheckBox* CheckFor(const TavrinQtWindow& window, const QString& text) {
    for (QCheckBox* box : window.findChildren<QCheckBox*>(QStringLiteral("ProjectCheck"))) {
        if (box->text() == text) {
            return box;
        }
    }
    return nullptr;
}

// The revisions the settings file holds, by server.
std::map<QString, quint64> StoredRevisions(const test::UiSandbox& sandbox) {
    QSettings ini(sandbox.SettingsFile(), QSettings::IniFormat);
    std::map<QString, quint64> revisions;
    const int size = ini.beginReadArray(QStringLiteral("AutoSyncRevisions"));
    for (int i = 0; i < size; ++i) {
        ini.setArrayIndex(i);
        revisions[ini.value(QStringLiteral("domain")).toString()] =
            ini.value(QStringLiteral("revision")).toULongLong();
    }
    ini.endArray();
    return revisions;
}

QString Badge(const TavrinQtWindow& window) {
    return window.findChild<QLabel*>(QStringLiteral("AutoSyncBadge"))->text();
}

// Whether the badge is drawn in its waiting colours.
bool BadgeWaits(const TavrinQtWindow& window) {
    return window.findChild<QLabel*>(QStringLiteral("AutoSyncBadge"))->property("waiting").toBool();
}

// Runs `act` once the project password dialog is up; gives up after 20 s.
void WhenPasswordDialogOpens(std::function<void(QWidget&)> act) {
    auto* poll = new QTimer(QCoreApplication::instance());
    poll->setInterval(20);
    QTimer::singleShot(20000, poll, [poll] {
        poll->stop();
        poll->deleteLater();
    });
    QObject::connect(poll, &QTimer::timeout, [poll, act] {
        QWidget* dialog = QApplication::activeModalWidget();
        if (dialog == nullptr || !dialog->isVisible() ||
            dialog->objectName() != QStringLiteral("ProjectPasswordDialog")) {
            return;
        }
        poll->stop();
        poll->deleteLater();
        act(*dialog);
    });
    poll->start();
}

}  // namespace

class DailyLifeTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    // Started at logon before the network: the server answers only later, and then both the
    // projects and a change made after that reach the game folder by themselves.
    void AStartBeforeTheNetworkSyncsOnceTheServerAnswers() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "cars.txt", "cars 1");
        server.AddFile("Tracks", "tracks.txt", "tracks 1");
        server.SetChangeRevision(1);
        server.SetOffline(true);
        const QByteArray url = UrlOf(server).toLower();
        sandbox.WriteSettings(WindowSettings(game, {{"Club", &server}},
                                             url + "|Cars," + url + "|Tracks", AutoSyncOn()));
        auto window = std::make_unique<TavrinQtWindow>();  // hidden, as at logon
        QTRY_VERIFY_WITH_TIMEOUT(
            LogText(*window).contains(QStringLiteral("] Project list not loaded (Server Club: ")),
            kRunMs);
        QTest::qWait(2000);
        QCOMPARE(FileAt(game + QStringLiteral("/cars.txt")), QByteArray("<missing>"));
        window->FlushPendingSettings(true);
        QVERIFY2(StoredRevisions(sandbox).empty(), sandbox.ReadSettings().constData());
        server.SetOffline(false);
        const Clock::time_point online = Clock::now();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/tracks.txt")),
                                  QByteArray("tracks 1"), kRunMs);
        QCOMPARE(FileAt(game + QStringLiteral("/cars.txt")), QByteArray("cars 1"));
        qInfo("server online -> both projects on disk: %lld ms", MillisecondsSince(online));
        QTRY_VERIFY_WITH_TIMEOUT(!window->IsBusy(), kRunMs);
        server.AddFile("Cars", "cars.txt", "cars 2");
        server.SetChangeRevision(2);
        const Clock::time_point changed = Clock::now();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/cars.txt")), QByteArray("cars 2"),
                                  10000);
        qInfo("change -> on disk: %lld ms", MillisecondsSince(changed));
        QTRY_VERIFY_WITH_TIMEOUT(!window->IsBusy(), kRunMs);
        window->FlushPendingSettings(true);
        QVERIFY2(sandbox.ReadSettings().contains("1\\revision=2\n"),
                 sandbox.ReadSettings().constData());
    }

    // Of two servers, one is down at start: its projects are synced once it is back, and its
    // revision is stored only then.
    void AServerDownAtStartIsSyncedWhenItComesBack() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer down;
        test::ContentServer up;
        down.AddFile("Cars", "cars.txt", "from the late server");
        down.SetChangeRevision(3);
        down.SetOffline(true);
        up.AddFile("Tracks", "tracks.txt", "from the early server");
        const QByteArray downUrl = UrlOf(down).toLower();
        const QByteArray upUrl = UrlOf(up).toLower();
        sandbox.WriteSettings(WindowSettings(game, {{"Late", &down}, {"Early", &up}},
                                             downUrl + "|Cars," + upUrl + "|Tracks", AutoSyncOn()));
        auto window = std::make_unique<TavrinQtWindow>();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/tracks.txt")),
                                  QByteArray("from the early server"), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window->IsBusy(), kRunMs);
        QTest::qWait(1500);  // the late server's watcher fails meanwhile
        window->FlushPendingSettings(true);
        QCOMPARE(StoredRevisions(sandbox).count(QString::fromUtf8(downUrl)), std::size_t{0});
        QCOMPARE(FileAt(game + QStringLiteral("/cars.txt")), QByteArray("<missing>"));
        down.SetOffline(false);
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/cars.txt")),
                                  QByteArray("from the late server"), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(CheckFor(*window, QStringLiteral("Late | Cars")) != nullptr,
                                 kRunMs);
        QVERIFY(CheckFor(*window, QStringLiteral("Late | Cars"))->isChecked());
        QTRY_VERIFY_WITH_TIMEOUT(!window->IsBusy(), kRunMs);
        window->FlushPendingSettings(true);
        const auto revisions = StoredRevisions(sandbox);
        QCOMPARE(revisions.count(QString::fromUtf8(downUrl)), std::size_t{1});
        QCOMPARE(revisions.at(QString::fromUtf8(downUrl)), 3ULL);
    }

    // F5 (or accepted settings) during an automatic run reloads the lists after it; a change
    // reported meanwhile is still synced.
    void AChangeReportedWhileTheListsReloadIsNotLost() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "slow.txt", "slow");
        server.DelayDownload("Cars", "slow.txt", 1500);
        const QByteArray url = UrlOf(server).toLower();
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, url + "|Cars", AutoSyncOn()));
        auto window = std::make_unique<TavrinQtWindow>();
        QTRY_VERIFY_WITH_TIMEOUT(window->IsBusy(), kRunMs);  // the first run, held by slow.txt
        window->findChild<QAction*>(QStringLiteral("RefreshAction"))->trigger();
        server.AddFile("Cars", "late.txt", "late");
        window->OnServerChanged(UrlOf(server), 7, QStringLiteral("server Club reports changes"));
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/late.txt")), QByteArray("late"),
                                  kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window->IsBusy(), kRunMs);
        QString log = LogText(*window);
        QVERIFY2(!log.contains(QStringLiteral("no projects")), qPrintable(log));
        QVERIFY2(log.count(kComplete) >= 2, qPrintable(log));

        // F5 with no run: while the lists are on their way, another change is reported.
        server.DelayProjectLists(1500);
        window->findChild<QAction*>(QStringLiteral("RefreshAction"))->trigger();
        server.AddFile("Cars", "during-f5.txt", "f5");
        window->OnServerChanged(UrlOf(server), 8, QStringLiteral("server Club reports changes"));
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/during-f5.txt")), QByteArray("f5"),
                                  kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window->IsBusy(), kRunMs);
        log = LogText(*window);
        QVERIFY2(!log.contains(QStringLiteral("no projects")), qPrintable(log));
    }

    // Ticking while a server is unreachable keeps that server's ticks.
    void TicksOfAnUnreachableServerSurviveATickChange() {
        test::UiSandbox sandbox;
        test::ContentServer down;
        test::ContentServer up;
        down.SetOffline(true);
        up.AddFile("Tracks", "tracks.txt", "t");
        const QByteArray downKey = UrlOf(down).toLower() + "|Cars";
        const QByteArray upKey = UrlOf(up).toLower() + "|Tracks";
        sandbox.WriteSettings(WindowSettings(
            sandbox.MakeGameFolder(), {{"Late", &down}, {"Early", &up}}, downKey + "," + upKey));
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(CheckFor(window, QStringLiteral("Early | Tracks")) != nullptr,
                                 kRunMs);
        QCheckBox* box = CheckFor(window, QStringLiteral("Early | Tracks"));
        QVERIFY(box->isChecked());
        box->setChecked(false);
        QCOMPARE(window.Settings().selectedProjects, QStringList{QString::fromUtf8(downKey)});
        box->setChecked(true);
        window.FlushPendingSettings(true);
        const QStringList saved = QSettings(sandbox.SettingsFile(), QSettings::IniFormat)
                                      .value(QStringLiteral("selected_projects"))
                                      .toStringList();
        QVERIFY2(saved.contains(QString::fromUtf8(downKey)), qPrintable(saved.join(',')));
        QVERIFY2(saved.contains(QString::fromUtf8(upKey)), qPrintable(saved.join(',')));
    }

    // A game folder on a drive that is not mounted pauses auto-sync: it stays on, says it
    // waits, and syncs what is pending once the folder is there; the same when the folder
    // goes away while Tavrin runs.
    void AnAbsentGameFolderPausesAutoSyncUntilItIsBack() {
        test::UiSandbox sandbox;
        const QString game = sandbox.Root() + QStringLiteral("/drive/Assetto Corsa");
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "first");
        server.SetChangeRevision(1);
        const QByteArray url = UrlOf(server).toLower();
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, url + "|Cars", AutoSyncOn()));
        auto window = std::make_unique<TavrinQtWindow>();
        const QString waiting = QStringLiteral("] Auto-sync is waiting: the game folder ") +
                                QDir::toNativeSeparators(game) + QStringLiteral(" does not exist");
        QTRY_VERIFY_WITH_TIMEOUT(LogText(*window).contains(waiting), kRunMs);
        QVERIFY(window->Settings().autoSyncEnabled);
        QCOMPARE(Badge(*window), QStringLiteral("Auto-sync waiting for the game folder"));
        QVERIFY(BadgeWaits(*window));
        QTest::qWait(1000);
        window->FlushPendingSettings(true);
        QCOMPARE(QSettings(sandbox.SettingsFile(), QSettings::IniFormat)
                     .value(QStringLiteral("auto_sync_enabled"))
                     .toBool(),
                 true);
        QCOMPARE(LogText(*window).count(waiting), 1);
        MakeGameFolderAt(game);
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/a.txt")), QByteArray("first"),
                                  kRunMs);
        QCOMPARE(Badge(*window), QStringLiteral("Auto-sync on"));
        QVERIFY(!BadgeWaits(*window));
        QTRY_VERIFY_WITH_TIMEOUT(!window->IsBusy(), kRunMs);

        // The drive is unplugged, a change comes, the drive is back.
        const QString away = sandbox.Root() + QStringLiteral("/unplugged");
        QVERIFY(QDir().rename(sandbox.Root() + QStringLiteral("/drive"), away));
        server.AddFile("Cars", "a.txt", "second");
        server.SetChangeRevision(2);
        QTRY_COMPARE_WITH_TIMEOUT(LogText(*window).count(waiting), 2, kRunMs);
        QVERIFY(window->Settings().autoSyncEnabled);
        QTest::qWait(500);
        QVERIFY(QDir().rename(away, sandbox.Root() + QStringLiteral("/drive")));
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/a.txt")), QByteArray("second"),
                                  kRunMs);
    }

    // A settings file that cannot be read is moved aside, byte for byte, and never written
    // over; the player is told where it went.
    void AnUnreadableSettingsFileIsMovedAsideNotOverwritten() {
        test::UiSandbox sandbox;
        static const char kDamaged[] =
            "[General]\ntarget_path=/games/ac\n\0\0\0\0[Domains]\ncount=1\n";
        const QByteArray damaged(kDamaged, sizeof kDamaged - 1);
        sandbox.WriteSettings(damaged);
        ModalAnswerer answers;
        auto window = std::make_unique<TavrinQtWindow>();
        QTRY_COMPARE_WITH_TIMEOUT(answers.messages.size(), 1, 5000);
        const QStringList aside =
            QDir(sandbox.DataFolder()).entryList({QStringLiteral("Tavrin.ini.unreadable-*")});
        QCOMPARE(aside.size(), 1);
        const QString asidePath = sandbox.DataFolder() + QLatin1Char('/') + aside[0];
        QCOMPARE(FileAt(asidePath), damaged);
        QVERIFY2(answers.messages[0].startsWith(QStringLiteral("The settings file ")),
                 qPrintable(answers.messages[0]));
        QVERIFY2(answers.messages[0].contains(QDir::toNativeSeparators(asidePath)),
                 qPrintable(answers.messages[0]));
        QVERIFY(LogText(*window).contains(answers.messages[0]));
        QVERIFY(window->Settings().servers.empty());
        window.reset();
        QCOMPARE(FileAt(asidePath), damaged);
        QVERIFY(!FileAt(sandbox.SettingsFile()).contains('\0'));
    }

    // Quitting while a run waits for a project password answers the prompt with Cancel and
    // ends within a second.
    void QuittingWithAPasswordPromptOpenEndsWithinASecond() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Club", "a.txt", "a");
        server.RequirePassword("Club", "new");
        const QByteArray url = UrlOf(server).toLower();
        sandbox.WriteSettings(WindowSettings(
            game, {{"Main", &server}}, url + "|Club", {},
            "[ProjectPasswords]\n1\\key=" + url + "|club\n1\\password=old\nsize=1\n"));
        auto window = std::make_unique<TavrinQtWindow>();
        QTRY_COMPARE_WITH_TIMEOUT(window->ProjectEntries().size(), std::size_t{1}, kRunMs);
        long long quitMs = -1;
        WhenPasswordDialogOpens([&](QWidget&) {
            const Clock::time_point start = Clock::now();
            window->Shutdown();
            quitMs = MillisecondsSince(start);
        });
        window->RequestSync(false, QString());
        QTRY_VERIFY_WITH_TIMEOUT(quitMs >= 0, kRunMs);
        qInfo("quit with a password prompt open: %lld ms", quitMs);
        QVERIFY2(quitMs < kQuitLimitMs, qPrintable(QString::number(quitMs)));
        QVERIFY(!window->IsBusy());
        QTRY_VERIFY(QApplication::activeModalWidget() == nullptr);
        QVERIFY(TimedQuit(window, "after the prompt was cancelled") < kQuitLimitMs);
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("<missing>"));
    }

    void QuittingDuringADownloadEndsWithinASecond() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "old");
        server.DelayDownload("Cars", "a.txt", 20000);
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars"));
        auto window = std::make_unique<TavrinQtWindow>();
        QTRY_COMPARE_WITH_TIMEOUT(window->ProjectEntries().size(), std::size_t{1}, kRunMs);
        window->RequestSync(false, QString());
        QTRY_COMPARE_WITH_TIMEOUT(server.DownloadRequests(), 1, kRunMs);
        QTest::qWait(200);
        const long long quitMs = TimedQuit(window, "during a download");
        QVERIFY2(quitMs < kQuitLimitMs, qPrintable(QString::number(quitMs)));
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("<missing>"));
        const auto temporaries = [&game] {
            return QDir(game).entryList({QStringLiteral("*.tavrin_tmp")}, QDir::Files).size();
        };
        if (test::PendingReceivesCannotBeEnded()) {
            // The run was left in its wait; once the server lets go it removes its own file.
            server.Http().Stop();
            QTRY_COMPARE_WITH_TIMEOUT(temporaries(), 0, 10000);
        } else {
            QCOMPARE(temporaries(), 0);
        }
    }

    void QuittingDuringAListLoadEndsWithinASecond() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.HoldProjectLists(true);
        sandbox.WriteSettings(WindowSettings(sandbox.MakeGameFolder(), {{"Club", &server}},
                                             UrlOf(server).toLower() + "|Cars"));
        auto window = std::make_unique<TavrinQtWindow>();
        QTRY_COMPARE_WITH_TIMEOUT(server.ProjectListRequests(), 1, kRunMs);
        QTest::qWait(200);
        const long long quitMs = TimedQuit(window, "during a list load");
        QVERIFY2(quitMs < kQuitLimitMs, qPrintable(QString::number(quitMs)));
    }

    void QuittingDuringALongPollEndsWithinASecond() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        sandbox.WriteSettings(WindowSettings(sandbox.MakeGameFolder(), {{"Club", &server}},
                                             UrlOf(server).toLower() + "|Cars", AutoSyncOn()));
        auto window = std::make_unique<TavrinQtWindow>();
        QTRY_VERIFY_WITH_TIMEOUT(LogText(*window).contains(kComplete), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window->IsBusy(), kRunMs);
        server.HoldChangePolls(true);
        const std::size_t polls = server.ChangePolls().size();
        QTRY_VERIFY_WITH_TIMEOUT(server.ChangePolls().size() > polls, kRunMs);
        QTest::qWait(200);
        const long long quitMs = TimedQuit(window, "during a long poll");
        QVERIFY2(quitMs < kQuitLimitMs, qPrintable(QString::number(quitMs)));
    }

    // Every tick change restarts the watchers: the old ones end at once instead of holding
    // their poll open, so one watcher runs per server.
    void RestartedWatchersEndTheirPollsAtOnce() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.AddFile("Tracks", "t.txt", "t");
        const QByteArray url = UrlOf(server).toLower();
        sandbox.WriteSettings(WindowSettings(sandbox.MakeGameFolder(), {{"Club", &server}},
                                             url + "|Cars", AutoSyncOn()));
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).contains(kComplete), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        server.HoldChangePolls(true);
        QTRY_COMPARE_WITH_TIMEOUT(window.RunningAutoSyncWatchers(), 1, kRunMs);
        QCheckBox* tracks = CheckFor(window, QStringLiteral("Club | Tracks"));
        QVERIFY(tracks != nullptr);
        for (int i = 0; i < 6; ++i) {
            tracks->setChecked(!tracks->isChecked());
            QTest::qWait(400);  // each new watcher is in its held poll before the next click
        }
        if (test::PendingReceivesCannotBeEnded()) {
            QSKIP(
                "the old watchers' held polls cannot be ended under Wine: its "
                "WinHttpCloseHandle leaves a synchronous receive waiting (their reports are "
                "dropped all the same)");
        }
        const Clock::time_point clicked = Clock::now();
        QTRY_COMPARE_WITH_TIMEOUT(window.RunningAutoSyncWatchers(), 1, 1000);
        qInfo("old watchers ended %lld ms after the last click", MillisecondsSince(clicked));
    }

    // A worker the system cannot start fails the run with a translated error; the program
    // goes on, and the next run works.
    void AWorkerThatCannotStartFailsTheRunInsteadOfTheProgram() {
#ifndef TAVRIN_CAN_LIMIT_ADDRESS_SPACE
        QSKIP(test::kNoAddressSpaceLimit);
#else
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars"));
        // Stacks of ended threads would be handed out again without a new mapping.
        QVERIFY2(qgetenv("GLIBC_TUNABLES").contains("glibc.pthread.stack_cache_size=0"),
                 "run through ctest, which turns glibc's stack cache off for this test");
        TavrinQtWindow window;
        QTRY_COMPARE_WITH_TIMEOUT(window.ProjectEntries().size(), std::size_t{1}, kRunMs);
        ModalAnswerer answers;
        {
            test::AddressSpaceLimit limit;
            QVERIFY(limit.Active());
            window.RequestSync(false, QString());
        }
        QTRY_COMPARE_WITH_TIMEOUT(answers.messages.size(), 1, kRunMs);
        QVERIFY2(answers.messages[0].startsWith(
                     QStringLiteral("The system could not start a worker thread: ")),
                 qPrintable(answers.messages[0]));
        QVERIFY(!window.IsBusy());
        QVERIFY(LogText(window).contains(answers.messages[0]));
        window.RequestSync(false, QString());
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("a"));
#endif
    }

    // At the first start with auto-sync on, the start-up run is the only one.
    void TheFirstAutoSyncStartRunsOnce() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.SetChangeRevision(3);
        const QByteArray url = UrlOf(server).toLower();
        sandbox.WriteSettings(WindowSettings(sandbox.MakeGameFolder(), {{"Club", &server}},
                                             url + "|Cars", AutoSyncOn()));
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).contains(kComplete), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(server.ChangePolls().size() >= 4, kRunMs);
        QTest::qWait(500);
        const QString log = LogText(window);
        QVERIFY2(log.count(QStringLiteral("] Automatic sync started")) == 1, qPrintable(log));
        QCOMPARE(log.count(kComplete), 1);
        window.FlushPendingSettings(true);
        QVERIFY2(sandbox.ReadSettings().contains("1\\revision=3\n"),
                 sandbox.ReadSettings().constData());
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::DailyLifeTest)
#include "daily_life_test.moc"
