// The sync controller on its own, without a window: project lists that come back by
// themselves, a change that waits for its server's list, and a stop that cuts a held list
// load and a held long poll short; against content servers on 127.0.0.1 and a real folder.
#include <QSignalSpy>
#include <QtTest>
#include <chrono>

#include "i18n/translator.h"
#include "net/server_endpoint.h"
#include "tests/support/content_server.h"
#include "ui/sync_controller.h"
#include "ui_sandbox.h"
#include "window_settings.h"
#include "wine_limits.h"

namespace tavrin {

namespace {

using test::FileAt;
using test::UrlOf;
using Clock = std::chrono::steady_clock;

constexpr int kRunMs = 30000;

// One server "Club" with the project "Cars" ticked, the sandbox's game folder as the target.
SettingsRecord OneServer(test::ContentServer& server, const test::UiSandbox& sandbox) {
    SettingsRecord settings;
    const QString url = QString::fromUtf8(UrlOf(server));
    settings.httpLockEnabled = false;
    settings.servers = {{QStringLiteral("Club"), url}};
    settings.selectedDomains = {url};
    settings.selectedProjects = {url.toLower() + QStringLiteral("|Cars")};
    settings.targetPath = sandbox.MakeGameFolder();
    return settings;
}

}  // namespace

class SyncControllerTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
        plainHttpAllowed.store(true);
    }

    void AFailedListIsAskedForAgainAndComesBackByItself() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.SetOffline(true);
        SettingsRecord settings = OneServer(server, sandbox);
        SyncController controller(settings, QStringLiteral("test-client"));
        QStringList log;
        connect(&controller, &SyncController::LogLine,
                [&log](const QString& line) { log << line; });
        QSignalSpy loaded(&controller, &SyncController::ListsLoaded);
        controller.RefreshProjectLists(false, false);
        QTRY_COMPARE_WITH_TIMEOUT(loaded.size(), 1, kRunMs);
        const auto first = loaded.takeFirst().at(0).value<ListsOutcome>();
        QVERIFY(!first.anyLoaded);
        QVERIFY(!first.retry);
        QCOMPARE(first.warnings.size(), 1);
        QVERIFY(!controller.ListLoaded(QString::fromUtf8(UrlOf(server))));
        QCOMPARE(controller.ListState(QString::fromUtf8(UrlOf(server)))->failures, 1);
        QCOMPARE(log.size(), 1);
        QVERIFY2(log[0].startsWith(QStringLiteral("Project list not loaded (Server Club: ")) &&
                     log[0].endsWith(QStringLiteral("); trying again in 5 s.")),
                 qPrintable(log[0]));
        server.SetOffline(false);
        const Clock::time_point online = Clock::now();
        QTRY_VERIFY_WITH_TIMEOUT(controller.ListLoaded(QString::fromUtf8(UrlOf(server))), 10000);
        const auto waited =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - online).count();
        QVERIFY2(waited < 6000, qPrintable(QString::number(waited)));
        QCOMPARE(controller.ProjectEntries().size(), std::size_t{1});
        QCOMPARE(controller.ProjectEntries()[0].projectName, std::string("Cars"));
        QCOMPARE(loaded.size(), 1);
        QVERIFY(loaded.takeFirst().at(0).value<ListsOutcome>().retry);
    }

    void AChangeWaitsForItsServersListAndIsStoredOnlyOnceSynced() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "synced");
        server.SetChangeRevision(4);
        server.SetOffline(true);
        SettingsRecord settings = OneServer(server, sandbox);
        settings.autoSyncEnabled = true;
        SyncController controller(settings, QStringLiteral("test-client"));
        QSignalSpy started(&controller, &SyncController::RunStarted);
        QSignalSpy finished(&controller, &SyncController::RunFinished);
        controller.RefreshProjectLists(false, false);
        controller.OnServerChanged(QString::fromUtf8(UrlOf(server)), 4,
                                   QStringLiteral("server Club reports changes"));
        QTest::qWait(500);
        QCOMPARE(controller.PendingChanges(), std::size_t{1});
        QCOMPARE(started.size(), 0);
        QVERIFY(settings.autoSyncRevisions.empty());
        server.SetOffline(false);
        QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, kRunMs);
        QCOMPARE(started.size(), 1);
        QVERIFY(started.at(0).at(0).toBool());  // automatic
        QVERIFY(finished.at(0).at(0).toBool());
        QCOMPARE(FileAt(settings.targetPath + QStringLiteral("/a.txt")), QByteArray("synced"));
        QCOMPARE(controller.PendingChanges(), std::size_t{0});
        QCOMPARE(settings.autoSyncRevisions.at(QString::fromUtf8(UrlOf(server)).toLower()), 4ULL);
        controller.Shutdown();
    }

    void StoppingCutsAHeldListLoadAndAHeldLongPollShort() {
        test::UiSandbox sandbox;
        test::ContentServer lists;
        lists.AddFile("Cars", "a.txt", "a");
        lists.HoldProjectLists(true);
        lists.HoldChangePolls(true);
        SettingsRecord settings = OneServer(lists, sandbox);
        settings.autoSyncEnabled = true;
        SyncController controller(settings, QStringLiteral("test-client"));
        controller.RefreshProjectLists(false, false);
        controller.ApplyAutoSync(false);
        QTRY_VERIFY_WITH_TIMEOUT(lists.ProjectListRequests() == 1 && !lists.ChangePolls().empty(),
                                 kRunMs);
        QTest::qWait(200);
        const Clock::time_point start = Clock::now();
        controller.Shutdown();
        const auto stopMs =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
        qInfo("stopped with a list load and a long poll held: %lld ms",
              static_cast<long long>(stopMs));
        QVERIFY2(stopMs < 1000, qPrintable(QString::number(stopMs)));
        if (test::PendingReceivesCannotBeEnded()) {
            // The stuck watcher was left to end by itself; it reports nothing.
            qInfo("watchers still in their poll after the stop: %d", controller.RunningWatchers());
        } else {
            QCOMPARE(controller.RunningWatchers(), 0);
        }
        QVERIFY(controller.IsShuttingDown());
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::SyncControllerTest)
#include "sync_controller_test.moc"
