// The sync command from the window against real content servers on 127.0.0.1 and a real game
// folder: files on disk, one run per press, stop between servers, and project passwords.
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QRegularExpression>
#include <QTextEdit>
#include <QTimer>
#include <QtTest>

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

constexpr int kRunMs = 30000;

// Notes every text a label shows while the test waits, as a person watching it would.
class LabelWatcher {
public:
    explicit LabelWatcher(const QLabel* label) : label_(label) {
        timer_.setInterval(5);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            if (texts.isEmpty() || texts.back() != label_->text()) {
                texts << label_->text();
            }
        });
        timer_.start();
    }
    QStringList texts;

private:
    const QLabel* label_;
    QTimer timer_;
};

}  // namespace

class SyncCommandTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    void ASyncStartedFromTheWindowPutsTheFilesOnDisk() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "content/cars/gt/data.ini", "power=500\n");
        server.AddFile("Cars", "content/cars/gt/skin.dds", std::string(70000, 'x'));
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars"));
        TavrinQtWindow window;
        QTRY_VERIFY(window.findChild<QAction*>(QStringLiteral("SyncAction"))->isEnabled());
        window.findChild<QAction*>(QStringLiteral("SyncAction"))->trigger();
        QVERIFY(window.IsBusy());
        QVERIFY(window.findChild<QAction*>(QStringLiteral("StopAction"))->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        const QString log = LogText(window);
        QVERIFY2(log.contains(QStringLiteral("] Sync started.")), qPrintable(log));
        QVERIFY2(log.contains(QStringLiteral("] Syncing server Club…")), qPrintable(log));
        QVERIFY2(log.contains(QStringLiteral(
                     "] Sync complete: 1 server(s), 2 files checked, 0 up to date, 2 downloaded, "
                     "68.37 KB transferred (70010 bytes).")),
                 qPrintable(log));
        QCOMPARE(FileAt(game + QStringLiteral("/content/cars/gt/data.ini")),
                 QByteArray("power=500\n"));
        QCOMPARE(FileAt(game + QStringLiteral("/content/cars/gt/skin.dds")).size(), 70000);
        QVERIFY(window.findChild<QAction*>(QStringLiteral("SyncAction"))->isEnabled());
        QVERIFY(!window.findChild<QAction*>(QStringLiteral("StopAction"))->isVisible());
        // The run's rates are remembered for the next estimate.
        QVERIFY(window.Settings().compareFilesPerSecond >= 0.0);
    }

    // A download limit of 0.5 MB/s holds 1.5 MB to about three seconds, and the rate on show
    // says it is limited.
    void TheDownloadLimitHoldsTheRunAndTheRateSaysSo() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        // Twelve files: the rate on show is reported as files finish.
        for (int file = 0; file < 12; ++file) {
            server.AddFile("Cars", "content/cars/gt/skin" + std::to_string(file) + ".dds",
                           std::string(128 * 1024, 'x'));
        }
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars",
                           "download_limit_enabled=true\ndownload_limit_mbps=0.5\n"));
        TavrinQtWindow window;
        QVERIFY(window.Settings().downloadLimitEnabled);
        QTRY_VERIFY(window.findChild<QAction*>(QStringLiteral("SyncAction"))->isEnabled());
        LabelWatcher speed(window.findChild<QLabel*>(QStringLiteral("SpeedLabel")));
        QElapsedTimer clock;
        clock.start();
        window.findChild<QAction*>(QStringLiteral("SyncAction"))->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QVERIFY2(clock.elapsed() >= 2800, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(FileAt(game + QStringLiteral("/content/cars/gt/skin11.dds")).size(), 128 * 1024);
        const QString limited =
            QLatin1Char(' ') + QString::fromStdString(::tavrin::tr("progress.speed_limited"));
        QVERIFY2(std::any_of(speed.texts.begin(), speed.texts.end(),
                             [&limited](const QString& text) { return text.endsWith(limited); }),
                 qPrintable(speed.texts.join(QLatin1Char('\n'))));
    }

    void PressingSyncTwiceStartsOneRun() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars"));
        TavrinQtWindow window;
        window.show();
        QTRY_VERIFY(window.findChild<QAction*>(QStringLiteral("SyncAction"))->isEnabled());
        QTest::keyClick(&window, Qt::Key_Return, Qt::ControlModifier);
        window.RequestSync(false, QString());  // a second press while the first runs
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QTest::qWait(200);
        QCOMPARE(LogText(window).count(QStringLiteral("] Sync started.")), 1);
        QCOMPARE(server.Http().RequestsFor("/file_list/Cars").size(), std::size_t{1});
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("a"));
    }

    void StopDuringTheSecondOfThreeServersSkipsTheThird() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer first;
        test::ContentServer second;
        test::ContentServer third;
        first.AddFile("One", "one.txt", "1");
        second.AddFile("Two", "two.txt", "2");
        third.AddFile("Three", "three.txt", "3");
        second.DelayDownload("Two", "two.txt", 3000);
        sandbox.WriteSettings(WindowSettings(game, {{"A", &first}, {"B", &second}, {"C", &third}},
                                             UrlOf(first).toLower() + "|One, " +
                                                 UrlOf(second).toLower() + "|Two, " +
                                                 UrlOf(third).toLower() + "|Three"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{3});
        ModalAnswerer answers;
        window.RequestSync(false, QString());
        QTRY_VERIFY2_WITH_TIMEOUT(
            second.DownloadRequests() > 0,
            qPrintable(LogText(window) + answers.messages.join(QLatin1Char(';'))), kRunMs);
        window.findChild<QAction*>(QStringLiteral("StopAction"))->trigger();
        QVERIFY(LogText(window).contains(QStringLiteral("] Stopping the sync…")));
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QTRY_COMPARE(answers.messages, QStringList{QStringLiteral("Sync cancelled.")});
        QVERIFY(third.Http().RequestsFor("/file_list/Three").empty());
        QCOMPARE(FileAt(game + QStringLiteral("/one.txt")), QByteArray("1"));
        QVERIFY(!QFile::exists(game + QStringLiteral("/three.txt")));
    }

    void AStoppedAutomaticRunLogsTheCancelAndRaisesNoBox() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.DelayDownload("Cars", "a.txt", 3000);
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        ModalAnswerer answers;
        window.RequestSync(true, QStringLiteral("server changed"));
        QVERIFY(
            LogText(window).contains(QStringLiteral("] Automatic sync started (server changed).")));
        QTRY_VERIFY_WITH_TIMEOUT(server.DownloadRequests() > 0, kRunMs);
        window.CancelSync();
        // Reports still on their way after the stop leave the display reset.
        ProgressMessage late;
        late.done = 5;
        late.total = 10;
        late.currentFile = L"late.txt";
        window.ShowProgress(late);
        QCOMPARE(window.findChild<QProgressBar*>(QStringLiteral("SyncProgress"))->value(), 0);
        QCOMPARE(window.findChild<QLabel*>(QStringLiteral("CurrentFileLabel"))->text(),
                 QStringLiteral("Current file: none"));
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QTest::qWait(200);
        QVERIFY2(LogText(window).contains(QStringLiteral("] Sync cancelled.")),
                 qPrintable(LogText(window)));
        QVERIFY2(answers.messages.isEmpty(), qPrintable(answers.messages.join(QLatin1Char(';'))));
        QVERIFY(!QFile::exists(game + QStringLiteral("/a.txt")));
    }

    void NothingTickedWarnsAndStartsNothing() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        sandbox.WriteSettings(WindowSettings(game, {{"Club", &server}}, ""));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        ModalAnswerer answers;
        window.RequestSync(false, QString());
        QTRY_COMPARE(answers.messages, QStringList{QStringLiteral("Select at least one project.")});
        QVERIFY(!window.IsBusy());
        QVERIFY(!LogText(window).contains(QStringLiteral("Sync started.")));
    }

    void AProtectedProjectIsAskedForOnceAndItsPasswordRemembered() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Club", "a.txt", "a");
        server.AddFile("Club", "b.txt", "b");
        server.RequirePassword("Club", "pw");
        sandbox.WriteSettings(
            WindowSettings(game, {{"Main", &server}}, UrlOf(server).toLower() + "|Club"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        QVERIFY(window.ProjectEntries().front().requiresPassword);
        ModalAnswerer answers({QStringLiteral("pw")});
        window.RequestSync(false, QString());
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QCOMPARE(
            answers.questions,
            QStringList{QStringLiteral("Project Club is password-protected. Enter its password:")});
        QCOMPARE(FileAt(game + QStringLiteral("/b.txt")), QByteArray("b"));
        QCOMPARE(window.Settings().projectPasswords.value(UrlOf(server).toLower() + "|club"),
                 QStringLiteral("pw"));
    }

    void ARefusedRememberedPasswordIsAskedForAgainWithTheRetryText() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Club", "a.txt", "a");
        server.RequirePassword("Club", "new");
        sandbox.WriteSettings(
            WindowSettings(game, {{"Main", &server}}, UrlOf(server).toLower() + "|Club", {},
                           "[ProjectPasswords]\n1\\key=" + UrlOf(server).toLower() +
                               "|club\n1\\password=old\nsize=1\n"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        ModalAnswerer answers({QStringLiteral("new")});
        window.RequestSync(false, QString());
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QCOMPARE(answers.questions,
                 QStringList{QStringLiteral(
                     "The password for project Club was not accepted. Enter it again:")});
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("a"));
        QCOMPARE(window.Settings().projectPasswords.value(UrlOf(server).toLower() + "|club"),
                 QStringLiteral("new"));
    }

    void AnAutomaticRequestDuringARunGivesExactlyOneFollowUp() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.AddFile("Other", "o.txt", "o");
        server.DelayDownload("Cars", "a.txt", 1500);
        const QByteArray url = UrlOf(server).toLower();
        // Auto-sync watches "Other" and starts with a run of it; the run here is of "Cars".
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, url + "|Cars",
                           "auto_sync_enabled=true\nauto_sync_projects=" + url + "|Other\n"));
        TavrinQtWindow window;
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).count(QStringLiteral("] Sync complete:")) == 1,
                                 kRunMs);
        QTRY_VERIFY(!window.IsBusy());
        window.RequestSync(false, QString());
        QVERIFY(window.IsBusy());
        window.RequestSync(true, QStringLiteral("change one"));
        window.RequestSync(true, QStringLiteral("change two"));
        const QString followUp = QStringLiteral(
            "] Automatic sync started (follow-up after changes during the last sync).");
        QTRY_VERIFY_WITH_TIMEOUT(LogText(window).count(QStringLiteral("] Sync complete:")) == 3,
                                 kRunMs);
        QTRY_VERIFY(!window.IsBusy());
        QTest::qWait(300);
        const QString log = LogText(window);
        QCOMPARE(log.count(QStringLiteral("] Sync started.")), 1);
        QCOMPARE(log.count(followUp), 1);
        QCOMPARE(log.count(QStringLiteral("] Sync complete:")), 3);
        QVERIFY2(log.indexOf(followUp) > log.indexOf(QStringLiteral("] Sync started.")),
                 qPrintable(log));
        QCOMPARE(server.Http().RequestsFor("/file_list/Cars").size(), std::size_t{1});
        QCOMPARE(server.Http().RequestsFor("/file_list/Other").size(), std::size_t{2});
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("a"));
    }

    void WithAutoSyncOffAnAutomaticRequestDuringARunIsNotFollowedUp() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.DelayDownload("Cars", "a.txt", 800);
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        window.RequestSync(false, QString());
        window.RequestSync(true, QStringLiteral("change"));
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QTest::qWait(300);
        QCOMPARE(LogText(window).count(QStringLiteral("] Sync complete:")), 1);
        QVERIFY(!LogText(window).contains(QStringLiteral("Automatic sync started")));
    }

    void TheRemainingTimeIsEstimatedWhileARunGoesAndForgottenAfter() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.AddFile("Cars", "b.txt", std::string(40000, 'b'));
        server.DelayDownload("Cars", "b.txt", 1200);
        // Rates remembered from earlier runs give an estimate before this run has measured any.
        sandbox.WriteSettings(WindowSettings(
            game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars",
            "telemetry_download_bps=20000\ntelemetry_download_fps=1\ntelemetry_compare_fps=50\n"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        const auto* eta = window.findChild<QLabel*>(QStringLiteral("EtaLabel"));
        LabelWatcher watcher(eta);
        window.RequestSync(false, QString());
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        const QRegularExpression estimate(QStringLiteral("^Time remaining: \\d\\d:\\d\\d:\\d\\d$"));
        QVERIFY2(!watcher.texts.filter(estimate).isEmpty(),
                 qPrintable(watcher.texts.join(QLatin1Char(';'))));
        QCOMPARE(eta->text(), QStringLiteral("Time remaining: unknown"));
        QCOMPARE(FileAt(game + QStringLiteral("/b.txt")).size(), 40000);
        // The run's own measurements are blended into the remembered download rate.
        QVERIFY(window.Settings().downloadBytesPerSecond > 0.0);
        QVERIFY(window.Settings().downloadBytesPerSecond != 20000.0);
    }

    void AResultArrivingAfterTheWindowIsGoneIsDropped() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.DelayDownload("Cars", "a.txt", 1500);
        sandbox.WriteSettings(
            WindowSettings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars"));
        auto* window = new TavrinQtWindow;
        QTRY_COMPARE(window->ProjectEntries().size(), std::size_t{1});
        window->RequestSync(false, QString());
        QTRY_VERIFY_WITH_TIMEOUT(server.DownloadRequests() > 0, kRunMs);
        QPointer<TavrinQtWindow> guard(window);
        ModalAnswerer answers;
        delete window;  // stops and joins the worker; its last reports are still queued
        QVERIFY(guard.isNull());
        QTest::qWait(500);  // the queued log lines, reports and result run against no window
        QVERIFY(!QFile::exists(game + QStringLiteral("/a.txt")));
        QVERIFY2(answers.messages.isEmpty(), qPrintable(answers.messages.join(QLatin1Char(';'))));
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::SyncCommandTest)
#include "sync_command_test.moc"
