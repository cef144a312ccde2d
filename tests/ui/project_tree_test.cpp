// The project section against real content servers on 127.0.0.1: lists loaded on a worker
// thread, check boxes, ticks kept by key, failing servers, and the grid's columns.
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QStatusBar>
#include <QTextEdit>
#include <QTimer>
#include <QtTest>

#include "i18n/translator.h"
#include "tests/support/content_server.h"
#include "tests/support/test_http_server.h"
#include "ui/tavrin_qt_window.h"
#include "ui_sandbox.h"

namespace tavrin {

namespace {

// A port nothing listens on: connections are refused at once.
const QByteArray kDeadServer = "http://127.0.0.1:1";

QByteArray Settings(const QList<QPair<QByteArray, QByteArray>>& servers,
                    const QByteArray& selectedProjects = {}) {
    QByteArray text = "[General]\nhttp_lock_enabled=false\nselected_domains=\"";
    QByteArrayList urls;
    for (const auto& server : servers) {
        urls << server.second;
    }
    text += urls.join(" | ") + "\"\n";
    if (!selectedProjects.isEmpty()) {
        text += "selected_projects=\"" + selectedProjects + "\"\n";
    }
    text += "[Domains]\ncount=" + QByteArray::number(servers.size()) + "\n";
    for (int i = 0; i < servers.size(); ++i) {
        text += "domain_" + QByteArray::number(i) + "_name=" + servers[i].first + "\n";
        text += "domain_" + QByteArray::number(i) + "_url=" + servers[i].second + "\n";
    }
    return text;
}

QByteArray UrlOf(test::ContentServer& server) {
    return QString::fromStdWString(server.Url()).toUtf8();
}

QList<QCheckBox*> Checks(const TavrinQtWindow& window) {
    return window.findChild<QWidget*>(QStringLiteral("ProjectContainer"))
        ->findChildren<QCheckBox*>(QStringLiteral("ProjectCheck"));
}

QStringList CheckedTexts(const TavrinQtWindow& window) {
    QStringList texts;
    for (QCheckBox* box : Checks(window)) {
        if (box->isChecked()) {
            texts << box->text();
        }
    }
    return texts;
}

QString Placeholder(const TavrinQtWindow& window) {
    const auto labels = window.findChild<QWidget*>(QStringLiteral("ProjectContainer"))
                            ->findChildren<QLabel*>(QStringLiteral("HintLabel"));
    for (QLabel* label : labels) {
        if (!label->isHidden() || !label->text().isEmpty()) {
            return label->text();
        }
    }
    return {};
}

int ListRequests(test::ContentServer& server) {
    return static_cast<int>(server.Http().RequestsFor("/list_projects_meta").size());
}

// Presses OK on the next message box, noting its text.
void AnswerNextMessageBox(QString* text) {
    QTimer::singleShot(50, [text] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr) {
            AnswerNextMessageBox(text);
            return;
        }
        *text = box->text();
        box->accept();
    });
}

}  // namespace

class ProjectTreeTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    void TheGridHasOneTwoOrThreeColumnsByWidth() {
        QCOMPARE(ProjectGridColumns(439), 1);
        QCOMPARE(ProjectGridColumns(639), 2);
        QCOMPARE(ProjectGridColumns(660), 3);
        QCOMPARE(ProjectGridColumns(-1), 1);
        QCOMPARE(ProjectGridMinimumHeight(1, 3), 48);
        QCOMPARE(ProjectGridMinimumHeight(3, 0), 2 * 4 + 3 * 24 + 8);
    }

    void ProjectsAreListedWithTicksRestoredCaseInsensitively() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "content/cars/a.txt", "a");
        server.AddFile("Tracks", "content/tracks/b.txt", "b");
        const QByteArray url = UrlOf(server);
        sandbox.WriteSettings(
            Settings({{"Club", url}}, url.toUpper().replace("HTTP://", "http://") + "|Tracks"));
        TavrinQtWindow window;
        QTRY_COMPARE(Checks(window).size(), 2);
        const QList<QCheckBox*> checks = Checks(window);
        QCOMPARE(checks[0]->text(), QStringLiteral("Club | Cars"));
        QCOMPARE(checks[0]->accessibleName(), QStringLiteral("Cars from server Club"));
        QCOMPARE(checks[0]->minimumHeight(), 22);
        QCOMPARE(CheckedTexts(window), QStringList{QStringLiteral("Club | Tracks")});
        bool labelFound = false;
        for (QLabel* label : window.findChildren<QLabel*>(QStringLiteral("HintLabel"))) {
            labelFound = labelFound || label->text() == QStringLiteral("1 of 2 selected");
        }
        QVERIFY(labelFound);
        QCOMPARE(window.statusBar()->currentMessage(), QStringLiteral("Project lists loaded."));
    }

    void TicksSurviveTheRefreshActionAndItAlwaysReloads() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        server.AddFile("Tracks", "b.txt", "b");
        sandbox.WriteSettings(Settings({{"Club", UrlOf(server)}}));
        TavrinQtWindow window;
        QTRY_COMPARE(Checks(window).size(), 2);
        QCOMPARE(ListRequests(server), 1);
        Checks(window)[0]->setChecked(true);
        QCOMPARE(window.Settings().selectedProjects,
                 QStringList{QString::fromUtf8(UrlOf(server)).toLower() + QStringLiteral("|Cars")});
        server.AddFile("Alpine", "c.txt", "c");
        window.RefreshProjectLists(false);  // unchanged servers: nothing reloads
        QTest::qWait(200);
        QCOMPARE(ListRequests(server), 1);
        window.findChild<QAction*>(QStringLiteral("RefreshAction"))->trigger();
        QTRY_COMPARE(Checks(window).size(), 3);
        QCOMPARE(ListRequests(server), 2);
        QCOMPARE(CheckedTexts(window), QStringList{QStringLiteral("Club | Cars")});
    }

    void AnUnreachableServerIsLoggedAndTheOtherListed() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        server.AddFile("Cars", "a.txt", "a");
        sandbox.WriteSettings(Settings({{"Down", kDeadServer}, {"Club", UrlOf(server)}}));
        TavrinQtWindow window;
        QTRY_COMPARE(Checks(window).size(), 1);
        QCOMPARE(Checks(window)[0]->text(), QStringLiteral("Club | Cars"));
        const QString log = window.findChild<QTextEdit*>(QStringLiteral("LogView"))->toPlainText();
        QVERIFY2(log.contains(QStringLiteral("] Warning: Server Down: ")), qPrintable(log));
        QVERIFY(!log.startsWith(QLatin1Char('\n')));
    }

    void WhenEveryServerFailsAWarningBoxAndThePlaceholderAppear() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(Settings({{"Down", kDeadServer}}));
        QString boxText;
        AnswerNextMessageBox(&boxText);
        TavrinQtWindow window;
        window.show();  // a player who sees the window is told in a box
        QTRY_VERIFY(!boxText.isEmpty());
        QVERIFY2(boxText.startsWith(QStringLiteral("Server Down: ")), qPrintable(boxText));
        QTRY_COMPARE(Placeholder(window), QStringLiteral("The project lists could not be loaded."));
        QVERIFY(Checks(window).isEmpty());
        QCOMPARE(window.statusBar()->currentMessage(),
                 QStringLiteral("Could not load the project lists."));
    }

    void WithoutASelectedServerThePlaceholderSaysSo() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        QCOMPARE(Placeholder(window),
                 QStringLiteral("No server set up yet. Add one in the settings."));
    }

    void TheCheckBoxesFlowIntoTheColumnsTheWidthAllows() {
        test::UiSandbox sandbox;
        test::ContentServer server;
        for (const char* name : {"A1", "A2", "A3", "A4", "A5", "A6", "A7"}) {
            server.AddFile(name, "f.txt", name);
        }
        sandbox.WriteSettings(Settings({{"Club", UrlOf(server)}}));
        TavrinQtWindow window;
        window.show();
        QTRY_COMPARE(Checks(window).size(), 7);
        auto* container = window.findChild<QWidget*>(QStringLiteral("ProjectContainer"));
        auto* grid = qobject_cast<QGridLayout*>(container->layout());
        for (int width : {560, 760, 1200}) {
            window.resize(width, 600);
            QTRY_COMPARE(container->width() > 0, true);
            QApplication::processEvents();
            const int columns = ProjectGridColumns(container->width());
            int widest = 0;
            for (QCheckBox* box : Checks(window)) {
                int row = 0;
                int column = 0;
                int rowSpan = 0;
                int columnSpan = 0;
                grid->getItemPosition(grid->indexOf(box), &row, &column, &rowSpan, &columnSpan);
                widest = std::max(widest, column + 1);
            }
            QCOMPARE(widest, std::min(columns, 7));
            const int rows = (7 + columns - 1) / columns;
            QCOMPARE(container->minimumHeight(),
                     ProjectGridMinimumHeight(rows, grid->verticalSpacing()));
        }
    }

    void AListThatArrivesAfterANewerOneIsDropped() {
        test::UiSandbox sandbox;
        test::TestHttpServer server;
        const QByteArray url = QString::fromStdWString(server.Url()).toUtf8();
        test::ScriptedReply old =
            test::ScriptedReply::Status(200, R"([{"name":"Old","requires_password":false}])");
        old.delayBeforeAnswerMs = 1500;
        server.ReplySequence("/list_projects_meta",
                             {old, test::ScriptedReply::Status(
                                       200, R"([{"name":"New","requires_password":false}])")});
        sandbox.WriteSettings(Settings({{"Club", url}}));
        TavrinQtWindow window;
        QTRY_COMPARE(server.RequestsFor("/list_projects_meta").size(), std::size_t{1});
        window.findChild<QAction*>(QStringLiteral("RefreshAction"))->trigger();
        QTRY_COMPARE(Checks(window).size(), 1);
        QCOMPARE(Checks(window)[0]->text(), QStringLiteral("Club | New"));
        QTest::qWait(2500);  // the first request's answer has come and gone by now
        QCOMPARE(Checks(window).size(), 1);
        QCOMPARE(Checks(window)[0]->text(), QStringLiteral("Club | New"));
        QCOMPARE(server.RequestsFor("/list_projects_meta").size(), std::size_t{2});
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::ProjectTreeTest)
#include "project_tree_test.moc"
