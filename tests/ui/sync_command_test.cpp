// The sync command from the window against real content servers on 127.0.0.1 and a real game
// folder: files on disk, one run per press, stop between servers, and project passwords.
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QInputDialog>
#include <QMessageBox>
#include <QTextEdit>
#include <QTimer>
#include <QtTest>
#include <memory>

#include "i18n/translator.h"
#include "tests/support/content_server.h"
#include "ui/tavrin_qt_window.h"
#include "ui_sandbox.h"

namespace tavrin {

namespace {

constexpr int kRunMs = 30000;

struct Server {
    QByteArray name;
    test::ContentServer* content;
};

QByteArray UrlOf(test::ContentServer& server) {
    return QString::fromStdWString(server.Url()).toUtf8();
}

QByteArray Settings(const QString& game, const QList<Server>& servers, const QByteArray& ticked,
                    const QByteArray& extra = {}) {
    QByteArrayList urls;
    for (const Server& server : servers) {
        urls << UrlOf(*server.content);
    }
    QByteArray text = "[General]\nhttp_lock_enabled=false\ntarget_path=" + game.toUtf8() +
                      "\nselected_domains=\"" + urls.join(" | ") +
                      "\"\nselected_projects=" + ticked +
                      "\n[Domains]\ncount=" + QByteArray::number(servers.size()) + "\n";
    for (int i = 0; i < servers.size(); ++i) {
        text += "domain_" + QByteArray::number(i) + "_name=" + servers[i].name + "\n";
        text += "domain_" + QByteArray::number(i) + "_url=" + urls[i] + "\n";
    }
    return text + extra;
}

QString Log(const TavrinQtWindow& window) {
    return window.findChild<QTextEdit*>(QStringLiteral("LogView"))->toPlainText();
}

QByteArray FileAt(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// Answers modal boxes as they come: message boxes with OK, password dialogs with `password`.
class ModalAnswerer {
public:
    explicit ModalAnswerer(QString password = {}) : password_(std::move(password)) {
        timer_.setInterval(30);
        QObject::connect(&timer_, &QTimer::timeout, [this] { Answer(); });
        timer_.start();
    }
    QStringList messages;   // texts of the message boxes answered
    QStringList questions;  // labels of the password dialogs answered

private:
    void Answer() {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            messages << box->text();
            box->accept();
        } else if (auto* dialog = qobject_cast<QInputDialog*>(modal)) {
            questions << dialog->labelText();
            dialog->setTextValue(password_);
            dialog->accept();
        }
    }
    QString password_;
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
            Settings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars"));
        TavrinQtWindow window;
        QTRY_VERIFY(window.findChild<QAction*>(QStringLiteral("SyncAction"))->isEnabled());
        window.findChild<QAction*>(QStringLiteral("SyncAction"))->trigger();
        QVERIFY(window.IsBusy());
        QVERIFY(window.findChild<QAction*>(QStringLiteral("StopAction"))->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        const QString log = Log(window);
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

    void PressingSyncTwiceStartsOneRun() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        sandbox.WriteSettings(
            Settings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars"));
        TavrinQtWindow window;
        window.show();
        QTRY_VERIFY(window.findChild<QAction*>(QStringLiteral("SyncAction"))->isEnabled());
        QTest::keyClick(&window, Qt::Key_Return, Qt::ControlModifier);
        window.RequestSync(false, QString());  // a second press while the first runs
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QTest::qWait(200);
        QCOMPARE(Log(window).count(QStringLiteral("] Sync started.")), 1);
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
        test::ScriptedReply slow = test::ScriptedReply::Status(200, "2");
        slow.delayBeforeAnswerMs = 3000;
        second.ScriptDownload("Two", "two.txt", {slow});
        sandbox.WriteSettings(Settings(game, {{"A", &first}, {"B", &second}, {"C", &third}},
                                       UrlOf(first).toLower() + "|One, " + UrlOf(second).toLower() +
                                           "|Two, " + UrlOf(third).toLower() + "|Three"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{3});
        ModalAnswerer answers;
        window.RequestSync(false, QString());
        QTRY_VERIFY2_WITH_TIMEOUT(second.DownloadRequests() > 0,
                                  qPrintable(Log(window) + answers.messages.join(QLatin1Char(';'))),
                                  kRunMs);
        window.findChild<QAction*>(QStringLiteral("StopAction"))->trigger();
        QVERIFY(Log(window).contains(QStringLiteral("] Stopping the sync…")));
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QTRY_COMPARE(answers.messages, QStringList{QStringLiteral("Sync cancelled.")});
        QVERIFY(third.Http().RequestsFor("/file_list/Three").empty());
        QCOMPARE(FileAt(game + QStringLiteral("/one.txt")), QByteArray("1"));
        QVERIFY(!QFile::exists(game + QStringLiteral("/three.txt")));
    }

    void NothingTickedWarnsAndStartsNothing() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        sandbox.WriteSettings(Settings(game, {{"Club", &server}}, ""));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        ModalAnswerer answers;
        window.RequestSync(false, QString());
        QTRY_COMPARE(answers.messages, QStringList{QStringLiteral("Select at least one project.")});
        QVERIFY(!window.IsBusy());
        QVERIFY(!Log(window).contains(QStringLiteral("Sync started.")));
    }

    void AProtectedProjectIsAskedForOnceAndItsPasswordRemembered() {
        test::UiSandbox sandbox;
        const QString game = sandbox.MakeGameFolder();
        test::ContentServer server;
        server.AddFile("Club", "a.txt", "a");
        server.AddFile("Club", "b.txt", "b");
        server.RequirePassword("Club", "pw");
        sandbox.WriteSettings(
            Settings(game, {{"Main", &server}}, UrlOf(server).toLower() + "|Club"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        QVERIFY(window.ProjectEntries().front().requiresPassword);
        ModalAnswerer answers(QStringLiteral("pw"));
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
        sandbox.WriteSettings(Settings(game, {{"Main", &server}}, UrlOf(server).toLower() + "|Club",
                                       "[ProjectPasswords]\n1\\key=" + UrlOf(server).toLower() +
                                           "|club\n1\\password=old\nsize=1\n"));
        TavrinQtWindow window;
        QTRY_COMPARE(window.ProjectEntries().size(), std::size_t{1});
        ModalAnswerer answers(QStringLiteral("new"));
        window.RequestSync(false, QString());
        QTRY_VERIFY_WITH_TIMEOUT(!window.IsBusy(), kRunMs);
        QCOMPARE(answers.questions,
                 QStringList{QStringLiteral(
                     "The password for project Club was not accepted. Enter it again:")});
        QCOMPARE(FileAt(game + QStringLiteral("/a.txt")), QByteArray("a"));
        QCOMPARE(window.Settings().projectPasswords.value(UrlOf(server).toLower() + "|club"),
                 QStringLiteral("new"));
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::SyncCommandTest)
#include "sync_command_test.moc"
