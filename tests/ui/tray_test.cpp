// The tray's paths on a real X display with a real tray host (run by with_tray_host.sh).
#include <QAction>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QtTest>

#include "i18n/translator.h"
#include "ui/tavrin_qt_window.h"
#include "ui_sandbox.h"

namespace tavrin {

class TrayTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        if (!QSystemTrayIcon::isSystemTrayAvailable()) {
            QSKIP(
                "no system tray on this display: the tray's paths need a tray host such as trayer");
        }
    }

    void init() { SetLanguage("en"); }

    void TheIconIsShownWithTheProgramsTitle() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        QVERIFY(window.EnsureTrayIcon());
        QVERIFY(window.TrayIcon()->isVisible());
        QCOMPARE(window.TrayIcon()->toolTip(), QStringLiteral("Tavrin"));
        QVERIFY(!window.TrayIcon()->icon().isNull());
        QVERIFY(!window.TrayRetryPending());
    }

    void TheMenuHoldsItsActionsAndTheirTexts() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        QMenu* menu = window.TrayMenu();
        QCOMPARE(window.TrayIcon()->contextMenu(), menu);
        const QList<QAction*> actions = menu->actions();
        QCOMPARE(actions.size(), 8);
        QCOMPARE(actions[0]->text(), QStringLiteral("Open Tavrin"));
        QVERIFY(actions[1]->isSeparator());
        QCOMPARE(actions[2]->text(), QStringLiteral("Sync now"));
        QCOMPARE(actions[3]->text(), QStringLiteral("Pause auto-sync"));
        QCOMPARE(actions[3]->menu()->actions().size(), 2);
        QCOMPARE(actions[4]->text(), QStringLiteral("Resume auto-sync"));
        QCOMPARE(actions[5]->text(), QStringLiteral("Open game folder"));
        QVERIFY(actions[6]->isSeparator());
        QCOMPARE(actions[7]->text(), QStringLiteral("Exit"));
        SetLanguage("fr");
        window.Retranslate();
        QVERIFY(actions[7]->text() != QStringLiteral("Exit"));
        QCOMPARE(actions[7]->text(), QString::fromStdString(tavrin::tr("tray.exit")));
        QCOMPARE(actions[2]->text(), QString::fromStdString(tavrin::tr("tray.sync_now")));
    }

    void ClosingHidesToTheTrayAndKeepsRunning() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(!window.close());
        QVERIFY(!window.isVisible());
        QVERIFY(!window.isMinimized());
        QVERIFY(!window.IsShuttingDown());
        QVERIFY(window.TrayIcon()->isVisible());
    }

    void ClicksOnTheIconBringTheWindowBack() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        for (const auto reason : {QSystemTrayIcon::DoubleClick, QSystemTrayIcon::MiddleClick,
                                  QSystemTrayIcon::Trigger}) {
            window.showMinimized();
            QTRY_VERIFY(window.isMinimized());
            emit window.TrayIcon()->activated(reason);
            QTRY_VERIFY(window.isVisible() && !window.isMinimized());
            window.hide();
            emit window.TrayIcon()->activated(reason);
            QTRY_VERIFY(window.isVisible());
        }
        window.hide();
        emit window.TrayIcon()->activated(QSystemTrayIcon::Unknown);
        QTest::qWait(100);
        QVERIFY(!window.isVisible());
    }

    void OpenInTheMenuBringsTheWindowBack() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.hide();
        window.TrayMenu()->actions().front()->trigger();
        QTRY_VERIFY(window.isVisible());
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::TrayTest)
#include "tray_test.moc"
