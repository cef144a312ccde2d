// The game running, as the window meets it: a copy of a small program started from inside the
// game folder stands for the game. Automatic runs wait until it ends, a sync by hand asks
// first, and the player's setting lets both through. Real content servers on 127.0.0.1 and
// real folders.
#include <QAction>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QtTest>
#include <chrono>
#include <filesystem>
#include <memory>

#include "i18n/translator.h"
#include "modal_answerer.h"
#include "tests/support/child_program.h"
#include "tests/support/content_server.h"
#include "ui/message_boxes.h"
#include "ui/tavrin_qt_window.h"
#include "ui_sandbox.h"
#include "widgets/ui_text.h"
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

// Starts a copy of the idle program from the game folder's "bin": the game, to the window.
bool StartGameIn(const QString& game, test::ChildProgram& program) {
    const std::filesystem::path folder = std::filesystem::path(game.toStdWString()) / "bin";
    std::filesystem::create_directories(folder);
    const std::filesystem::path copy = folder / test::IdleProgram().filename();
    std::filesystem::copy_file(test::IdleProgram(), copy,
                               std::filesystem::copy_options::overwrite_existing);
    return program.Start(copy, {"120"});
}

QString Badge(const TavrinQtWindow& window) {
    return window.findChild<QLabel*>(QStringLiteral("AutoSyncBadge"))->text();
}

QString Logged(const char* key) {
    return QStringLiteral("] ") + Text(key);
}

}  // namespace

class GameGuardTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    // The changes stay pending while the game runs and are synced once it is closed.
    void AutomaticRunsWaitUntilTheGameIsClosed() {
        test::TickedCars scene("auto_sync_enabled=true\n");
        auto& [sandbox, game, server] = scene;
        test::ChildProgram running;
        QVERIFY(StartGameIn(game, running));
        auto window = std::make_unique<TavrinQtWindow>();
        const QString waiting = Logged("log.auto_sync_waiting_for_game");
        QTRY_VERIFY_WITH_TIMEOUT(LogText(*window).contains(waiting), kRunMs);
        QCOMPARE(Badge(*window), QStringLiteral("Auto-sync waiting until the game is closed"));
        server.AddFile("Cars", "b.txt", "second");
        server.SetChangeRevision(2);
        QTest::qWait(4000);
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("<missing>"));
        QCOMPARE(server.DownloadRequests(), 0);
        QCOMPARE(LogText(*window).count(waiting), 1);
        QVERIFY(window->Settings().autoSyncEnabled);

        running.Stop();
        const Clock::time_point closed = Clock::now();
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/b.txt")), QByteArray("second"),
                                  10000);
        qInfo("synced %lld ms after the game was closed",
              static_cast<long long>(
                  std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - closed)
                      .count()));
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("first"));
        QVERIFY(LogText(*window).contains(Text("reason.game_closed")));
        QCOMPARE(Badge(*window), QStringLiteral("Auto-sync on"));
    }

    // A sync by hand asks first, No being the default: No leaves the folder alone, Yes syncs.
    void ASyncByHandAsksWhileTheGameRuns() {
        test::TickedCars scene;
        auto& [sandbox, game, server] = scene;
        test::ChildProgram running;
        QVERIFY(StartGameIn(game, running));
        TavrinQtWindow window;
        auto* sync = window.findChild<QAction*>(QStringLiteral("SyncAction"));
        QTRY_VERIFY_WITH_TIMEOUT(sync->isEnabled(), kRunMs);
        {
            ModalAnswerer answerer;
            answerer.buttons = {QMessageBox::No};
            sync->trigger();
            QCOMPARE(answerer.messages, QStringList{Text("dialog.game_running_question")});
        }
        QTest::qWait(500);
        QVERIFY(!window.IsBusy());
        QCOMPARE(server.DownloadRequests(), 0);
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("<missing>"));
        {
            ModalAnswerer answerer;
            answerer.buttons = {QMessageBox::Yes};
            sync->trigger();
            QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/a.txt")), QByteArray("first"),
                                      kRunMs);
            QCOMPARE(answerer.messages.size(), 1);
        }
    }

    // The question's default is No: Enter on it answers No.
    void TheQuestionDefaultsToNo() {
        QWidget parent;
        bool seen = false;
        QTimer::singleShot(200, [&seen] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr) {
                return;
            }
            seen = box->objectName() == QStringLiteral("GameRunningQuestion") &&
                   static_cast<QAbstractButton*>(box->defaultButton()) ==
                       box->button(QMessageBox::No) &&
                   box->text() == Text("dialog.game_running_question");
            QTest::keyClick(box, Qt::Key_Return);
        });
        QVERIFY(!AskSyncWhileGameRuns(&parent));
        QVERIFY(seen);
    }

    // With "Sync while the game is running" ticked, neither waits nor asks.
    void TheSettingLetsSyncsRunUnderTheGame() {
        test::TickedCars scene("auto_sync_enabled=true\nsync_while_game_running=true\n");
        auto& [sandbox, game, server] = scene;
        test::ChildProgram running;
        QVERIFY(StartGameIn(game, running));
        ModalAnswerer answerer;
        TavrinQtWindow window;
        QTRY_COMPARE_WITH_TIMEOUT(FileAt(game + QStringLiteral("/a.txt")), QByteArray("first"),
                                  kRunMs);
        QVERIFY(!LogText(window).contains(Logged("log.auto_sync_waiting_for_game")));
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        window.findChild<QAction*>(QStringLiteral("SyncAction"))->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QVERIFY(answerer.messages.isEmpty());
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::GameGuardTest)
#include "game_guard_test.moc"
