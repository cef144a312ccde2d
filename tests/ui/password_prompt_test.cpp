// Project passwords from the window: one dialog for concurrent requests, empty answers refused,
// cancelled prompts before manual and automatic runs, and remembered passwords kept or dropped,
// against real content servers on 127.0.0.1.
#include <QCoreApplication>
#include <QtTest>
#include <atomic>
#include <thread>

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

const QString kQuestion = QStringLiteral("Project Club is password-protected. Enter its password:");

QByteArray RememberedPassword(test::ContentServer& server, const QByteArray& password) {
    return "[ProjectPasswords]\n1\\key=" + UrlOf(server).toLower() +
           "|club\n1\\password=" + password + "\nsize=1\n";
}

}  // namespace

class PasswordPromptTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    void TwoRequestsForTheSameProjectShareOneDialog() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        const ProjectEntry entry{
            QStringLiteral("Main"), QStringLiteral("http://127.0.0.1:9"), "Club", {}, true};
        // Two workers ask at once, each waiting on the window's thread as the sync worker does.
        std::atomic<int> asking{0};
        std::atomic<int> answered{0};
        QString passwords[2];
        bool results[2] = {false, false};
        ModalAnswerer answers({QStringLiteral("pw")});
        answers.HoldDialogsUntil([&] { return asking.load() == 2; });
        std::thread workers[2];
        for (int i = 0; i < 2; ++i) {
            workers[i] = std::thread([&, i] {
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [&, i] {
                        ++asking;
                        results[i] = window.PromptProjectPassword(entry, false, passwords[i]);
                    },
                    Qt::BlockingQueuedConnection);
                ++answered;
            });
        }
        QTRY_COMPARE_WITH_TIMEOUT(answered.load(), 2, kRunMs);
        for (std::thread& worker : workers) {
            worker.join();
        }
        QCOMPARE(answers.questions, QStringList{kQuestion});
        QVERIFY(results[0] && results[1]);
        QCOMPARE(passwords[0], QStringLiteral("pw"));
        QCOMPARE(passwords[1], QStringLiteral("pw"));
        // Asking is not remembering: that waits for the server to accept it.
        QVERIFY(window.Settings().projectPasswords.isEmpty());
    }

    void AnEmptyAnswerIsRefusedAndTheNormalQuestionAskedAgain() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        const ProjectEntry entry{
            QStringLiteral("Main"), QStringLiteral("http://127.0.0.1:9"), "Club", {}, true};
        ModalAnswerer answers({QString(), QStringLiteral("pw")});
        QString password;
        QVERIFY(window.PromptProjectPassword(entry, true, password));
        QCOMPARE(password, QStringLiteral("pw"));
        QCOMPARE(
            answers.questions,
            QStringList({QStringLiteral("The password for project Club was not accepted. Enter it "
                                        "again:"),
                         kQuestion}));
        QCOMPARE(answers.messages,
                 QStringList{QStringLiteral("Project Club requires a password.")});
    }

    void CancellingBeforeAnAutomaticRunLogsItAndStartsNothing() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Club", "a.txt", "a");
        server.RequirePassword("Club", "pw");
        sandbox.WriteSettings(
            WindowSettings(game, {{"Main", &server}}, UrlOf(server).toLower() + "|Club"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        ModalAnswerer answers({std::nullopt});
        window.RequestSync(true, QString());
        QCOMPARE(answers.questions, QStringList{kQuestion});
        QVERIFY(answers.messages.isEmpty());
        QVERIFY(!window.IsBusy());
        const QString log = LogText(window);
        QVERIFY2(log.contains(QStringLiteral("] Password entry for project Club was cancelled.")),
                 qPrintable(log));
        QVERIFY(log.contains(QStringLiteral(
            "] Auto-sync skipped: a selected project needs a password that was not entered.")));
        QVERIFY(server.Http().RequestsFor("/file_list/Club").empty());
    }

    void CancellingBeforeAManualRunWarnsAndTheNextRunAsksAgain() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Club", "a.txt", "a");
        server.RequirePassword("Club", "pw");
        sandbox.WriteSettings(
            WindowSettings(game, {{"Main", &server}}, UrlOf(server).toLower() + "|Club"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        {
            ModalAnswerer answers({std::nullopt});
            window.RequestSync(false, QString());
            QCOMPARE(answers.messages,
                     QStringList{QStringLiteral("The sync cannot start: a selected project needs "
                                                "a password that was not entered.")});
            QVERIFY(!LogText(window).contains(QStringLiteral("was cancelled")));
            QVERIFY(!window.IsBusy());
        }
        // A cancelled prompt is not the answer for ever: the next run asks again.
        ModalAnswerer answers({QStringLiteral("pw")});
        window.RequestSync(false, QString());
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QCOMPARE(answers.questions, QStringList{kQuestion});
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("a"));
    }

    void ARememberedPasswordIsUsedWithoutADialog() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Club", "a.txt", "a");
        server.RequirePassword("Club", "pw");
        sandbox.WriteSettings(WindowSettings(game, {{"Main", &server}},
                                             UrlOf(server).toLower() + "|Club", {},
                                             RememberedPassword(server, "pw")));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        ModalAnswerer answers;
        window.RequestSync(false, QString());
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QVERIFY(answers.questions.isEmpty());
        QVERIFY(answers.messages.isEmpty());
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("a"));
    }

    void AnAcceptedEmptyPasswordForgetsTheRememberedOne() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Club", "a.txt", "a");
        sandbox.WriteSettings(
            WindowSettings(game, {{"Main", &server}}, {}, {}, RememberedPassword(server, "old")));
        TavrinQtWindow window;
        const QString key = UrlOf(server).toLower() + QStringLiteral("|club");
        QCOMPARE(window.Settings().projectPasswords.value(key), QStringLiteral("old"));
        window.RememberProjectPassword(UrlOf(server) + QStringLiteral(" "), QStringLiteral("Club"),
                                       QString());
        QVERIFY(!window.Settings().projectPasswords.contains(key));
        window.FlushPendingSettings(true);
        const QByteArray saved = sandbox.ReadSettings();
        QVERIFY2(!saved.contains("password=old"), saved.constData());
        window.RememberProjectPassword(UrlOf(server), QStringLiteral("Club"),
                                       QStringLiteral("new"));
        window.FlushPendingSettings(true);
        QVERIFY2(sandbox.ReadSettings().contains("password=new"),
                 sandbox.ReadSettings().constData());
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::PasswordPromptTest)
#include "password_prompt_test.moc"
