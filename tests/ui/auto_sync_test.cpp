// Auto-sync from the window against content servers on 127.0.0.1 with a change feed: changes
// reaching the game folder by themselves, follow-ups, the back-off for a server that stays
// down, stopping the watchers, and the rule for a server whose revision counter was reset.
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <chrono>

#ifdef TAVRIN_SERVER_PROGRAM
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include "i18n/translator.h"
#include "modal_answerer.h"
#include "tests/support/content_server.h"
#include "ui/tavrin_qt_window.h"
#include "ui_sandbox.h"
#include "window_settings.h"

namespace tavrin {

namespace {

using test::FileAt;
using test::LogText;
using test::ModalAnswerer;
using test::UrlOf;
using test::WindowSettings;
using Clock = std::chrono::steady_clock;

constexpr int kRunMs = 30000;

const QString kInitialRun = QStringLiteral("] Automatic sync started (initial sync at startup).");
const QString kChangeRun =
    QStringLiteral("] Automatic sync started (server Club reports changes).");
const QString kFollowUpRun =
    QStringLiteral("] Automatic sync started (follow-up after changes during the last sync).");
const QString kQueued =
    QStringLiteral("] Changes reported during a running sync; another sync will follow.");
const QString kUnreachable = QStringLiteral("] Auto-sync cannot reach a server: ");
const QString kComplete = QStringLiteral("] Sync complete:");

QByteArray AutoSyncOn(const QByteArray& watched = {}) {
    return "auto_sync_enabled=true\n" +
           (watched.isEmpty() ? QByteArray() : "auto_sync_projects=" + watched + "\n");
}

// The starts of the feed's polls: a failed poll is tried once more at once on a new
// connection, so requests closer than 300 ms count as one.
std::vector<double> PollStarts(const test::ContentServer& server) {
    std::vector<double> starts;
    const auto polls = server.ChangePolls();
    for (std::size_t i = 0; i < polls.size(); ++i) {
        if (i > 0 && polls[i] - polls[i - 1] < std::chrono::milliseconds(300)) {
            continue;
        }
        starts.push_back(std::chrono::duration<double>(polls[i] - polls.front()).count());
    }
    return starts;
}

#ifdef TAVRIN_SERVER_PROGRAM
// A loopback port nobody listens on right now.
int FreePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(socket);
    return ntohs(address.sin_port);
}

bool Accepts(int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const bool connected =
        ::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return connected;
}

void WriteFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}
#endif

}  // namespace

class AutoSyncTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    void AChangeOnTheServerReachesTheGameFolderWithoutAClick() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "content/cars/gt/data.ini", "power=500\n");
        const QByteArray key = UrlOf(server).toLower() + "|Cars";
        sandbox.WriteSettings(WindowSettings(game, {{"Club", &server}}, key, AutoSyncOn()));
        ModalAnswerer answers;
        TavrinQtWindow window;
        QVERIFY(window.findChild<QLabel*>(QStringLiteral("AutoSyncBadge"))->isVisibleTo(&window));
        // Auto-sync starts with a run of its own once the lists are in.
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).contains(kInitialRun), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QCOMPARE(FileAt(game + QStringLiteral("/content/cars/gt/data.ini")),
                 QByteArray("power=500\n"));
        QTRY_VERIFY(window.RunningAutoSyncWatchers() == 1);

        server.AddFile("Cars", "content/cars/gt/data.ini", "power=520\n", 1700000100.5);
        server.SetChangeRevision(1);
        const Clock::time_point changed = Clock::now();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/content/cars/gt/data.ini")),
                                  QByteArray("power=520\n"), kRunMs);
        const auto delayMs =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - changed).count();
        qInfo("change to disk: %lld ms", static_cast<long long>(delayMs));
        QVERIFY2(delayMs < 10000, qPrintable(QString::number(delayMs)));
        QVERIFY(LogText(window).contains(kChangeRun));
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        window.FlushPendingSettings(true);
        const QByteArray saved = sandbox.ReadSettings();
        QVERIFY2(saved.contains("[AutoSyncRevisions]\n") &&
                     saved.contains("\n1\\domain=" + UrlOf(server).toLower() + "\n") &&
                     saved.contains("\n1\\revision=1\n"),
                 saved.constData());
        QVERIFY(answers.messages.isEmpty());
    }

    void TwoChangeReportsDuringARunGiveOneFollowUp() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.AddFile("Other", "o.txt", "o");
        server.DelayDownload("Cars", "a.txt", 6000);
        const QByteArray url = UrlOf(server).toLower();
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, url + "|Cars", AutoSyncOn(url + "|Other")));
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).count(kComplete) == 1, kRunMs);
        QTRY_VERIFY(!window.IsBusy());
        window.RequestSync(false, QString());  // the slow one
        QVERIFY(window.IsBusy());
        server.SetChangeRevision(1);
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).count(kQueued) == 1, kRunMs);
        server.SetChangeRevision(2);
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).count(kQueued) == 2, kRunMs);
        QVERIFY(window.IsBusy());
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).count(kComplete) == 3, kRunMs);
        QTest::qWait(500);
        const QString log = LogText(window);
        QCOMPARE(log.count(kFollowUpRun), 1);
        QCOMPARE(log.count(kComplete), 3);
        QVERIFY2(!log.contains(kChangeRun), qPrintable(log));
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("a"));
    }

    void AServerThatStaysDownIsPolledLessAndLessOftenAndLoggedRarely() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.FailChangePolls(true);
        sandbox.WriteSettings(WindowSettings(game, {{"Club", &server}},
                                             UrlOf(server).toLower() + "|Cars", AutoSyncOn()));
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(PollStarts(server).size() == 5, 20000);
        QTest::qWait(1000);
        QCOMPARE(LogText(window).count(kUnreachable), 1);
        QVERIFY(LogText(window).contains(
            kUnreachable +
            QStringLiteral("The server's change feed answered with HTTP status 503.")));
        QTRY_VERIFY_WITH_TIMEOUT(PollStarts(server).size() == 6, 20000);
        // The sixth failure comes 30 s after the first: the line is due again.
        QTRY_COMPARE(LogText(window).count(kUnreachable), 2);
        const std::vector<double> starts = PollStarts(server);
        QStringList gaps;
        for (std::size_t i = 1; i < starts.size(); ++i) {
            gaps << QString::number(starts[i] - starts[i - 1], 'f', 3);
        }
        qInfo("pauses between polls: %s s", qPrintable(gaps.join(QStringLiteral(", "))));
        const double expected[] = {1.0, 2.0, 4.0, 8.0, 15.0};
        for (std::size_t i = 0; i < 5; ++i) {
            const double gap = starts[i + 1] - starts[i];
            QVERIFY2(gap >= expected[i] && gap < expected[i] + 1.0,
                     qPrintable(QStringLiteral("pause %1: %2 s").arg(i + 1).arg(gap)));
        }
        QVERIFY(window.findChild<QLabel*>(QStringLiteral("AutoSyncBadge"))->isVisibleTo(&window));
    }

    void SwitchingAutoSyncOffEndsTheWatchersWithinASlice() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.SetChangePause(5000);
        sandbox.WriteSettings(WindowSettings(game, {{"Club", &server}},
                                             UrlOf(server).toLower() + "|Cars", AutoSyncOn()));
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(!server.ChangePolls().empty(), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy() && window.RunningAutoSyncWatchers() == 1, kRunMs);
        QTest::qWait(300);  // the watcher sleeps out the server's pause
        const std::size_t polls = server.ChangePolls().size();
        const Clock::time_point off = Clock::now();
        window.SetAutoSyncActive(false);
        window.RestartAutoSync(false);
        QTRY_COMPARE_WITH_TIMEOUT(window.RunningAutoSyncWatchers(), 0, 2000);
        const auto endedMs =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - off).count();
        qInfo("watcher ended %lld ms after auto-sync was switched off",
              static_cast<long long>(endedMs));
        QVERIFY2(endedMs < 600, qPrintable(QString::number(endedMs)));
        QVERIFY(window.findChild<QLabel*>(QStringLiteral("AutoSyncBadge"))->isHidden());
        QTest::qWait(500);
        QCOMPARE(server.ChangePolls().size(), polls);
    }

    void ALowerRevisionIsAChangeOnlyWithTheResetFlag() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.SetChangeRevision(20);
        const QByteArray url = UrlOf(server).toLower();
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, url + "|Cars", AutoSyncOn()));
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).contains(kInitialRun), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        window.FlushPendingSettings(true);
        QVERIFY2(sandbox.ReadSettings().contains("1\\revision=20\n"),
                 sandbox.ReadSettings().constData());
        server.SetChangeRevision(5);
        const std::size_t polls = server.ChangePolls().size();
        QTRY_VERIFY_WITH_TIMEOUT(server.ChangePolls().size() >= polls + 2, kRunMs);
        QVERIFY2(!LogText(window).contains(kChangeRun), qPrintable(LogText(window)));
        server.SetChangeRevision(5, true);
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).contains(kChangeRun), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        window.FlushPendingSettings(true);
        QVERIFY2(sandbox.ReadSettings().contains("1\\revision=5\n"),
                 sandbox.ReadSettings().constData());
    }

    void AChangeInATavrinServerProjectReachesTheGameFolder() {
#ifndef TAVRIN_SERVER_PROGRAM
        QSKIP(
            "tavrin-server is a Linux program here and Wine cannot start it from this test; "
            "the Windows build's auto-sync runs against the test content server above");
#else
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        QTemporaryDir root;
        const QString file = root.path() + QStringLiteral("/Cars/content/cars/gt/data.ini");
        WriteFile(file, "power=500\n");
        const int port = FreePort();
        QProcess server;
        server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server.start(QStringLiteral(TAVRIN_SERVER_PROGRAM),
                     {QStringLiteral("--root"), root.path(), QStringLiteral("--listen"),
                      QStringLiteral("127.0.0.1:%1").arg(port), QStringLiteral("--scan-interval"),
                      QStringLiteral("1")});
        QVERIFY(server.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(Accepts(port), 10000);
        const QByteArray url = "http://127.0.0.1:" + QByteArray::number(port);
        sandbox.WriteSettings(WindowSettings(game, {{"Club", url}}, url + "|Cars", AutoSyncOn()));
        ModalAnswerer answers;
        TavrinQtWindow window;
        const QString target = game + QStringLiteral("/content/cars/gt/data.ini");
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(target), QByteArray("power=500\n"), kRunMs);
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QTest::qWait(1500);  // the watcher is in its long poll now

        WriteFile(file, "power=540\n");
        const Clock::time_point changed = Clock::now();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(target), QByteArray("power=540\n"), kRunMs);
        const auto delayMs =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - changed).count();
        qInfo("tavrin-server change to disk: %lld ms (rescan every 1 s)",
              static_cast<long long>(delayMs));
        QVERIFY2(delayMs < 15000, qPrintable(QString::number(delayMs)));
        QVERIFY2(LogText(window).contains(kChangeRun), qPrintable(LogText(window)));
        QVERIFY(answers.messages.isEmpty());
        server.terminate();
        server.waitForFinished(5000);
#endif
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::AutoSyncTest)
#include "auto_sync_test.moc"
