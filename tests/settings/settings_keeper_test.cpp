// The keeper of the settings record: writes gathered into one, 700 ms after the last change,
// and a file that cannot be read never written over. Real INI files in a sandbox.
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QtTest>

#include "settings/settings_keeper.h"
#include "ui_sandbox.h"
#include "write_counter.h"

namespace tavrin {

class SettingsKeeperTest : public QObject {
    Q_OBJECT

private slots:
    void ABurstOfChangesIsWrittenOnceAfterTheLastOne() {
        test::UiSandbox sandbox;
        SettingsKeeper keeper(sandbox.SettingsFile(), nullptr);
        QString aside;
        QString error;
        QCOMPARE(keeper.CheckFile(aside, error), SettingsKeeper::FileState::readable);
        keeper.Record().servers = {
            {QStringLiteral("Burst"), QStringLiteral("https://burst.example")}};
        sandbox.WriteSettings("");
        test::WriteCounter writes(sandbox.SettingsFile());
        QElapsedTimer clock;
        clock.start();
        for (int change = 0; change < 5; ++change) {
            keeper.ScheduleSave();
            QTest::qWait(100);
        }
        QTRY_COMPARE_WITH_TIMEOUT(writes.Count(), 1, 3000);
        QVERIFY2(clock.elapsed() >= 400 + 700 - 50, "written before 700 ms had passed quietly");
        QTest::qWait(900);
        QCOMPARE(writes.Count(), 1);
        QVERIFY(sandbox.ReadSettings().contains("https://burst.example"));
    }

    void RevisionsAloneAreWrittenWithoutTheRest() {
        test::UiSandbox sandbox;
        SettingsKeeper keeper(sandbox.SettingsFile(), nullptr);
        keeper.Record().servers = {
            {QStringLiteral("Later"), QStringLiteral("https://not.written")}};
        keeper.Record().autoSyncRevisions[QStringLiteral("https://one.example")] = 42;
        keeper.ScheduleRevisionsSave();
        keeper.Flush(false);
        const QByteArray text = sandbox.ReadSettings();
        QVERIFY2(text.contains("AutoSyncRevisions"), text.constData());
        QVERIFY(text.contains("42"));
        QVERIFY(!text.contains("not.written"));
    }

    void NothingIsWrittenWhileSuppressed() {
        test::UiSandbox sandbox;
        SettingsKeeper keeper(sandbox.SettingsFile(), nullptr);
        keeper.SetSuppressed(true);
        keeper.ScheduleSave();
        keeper.ScheduleRevisionsSave();
        keeper.Flush(false);
        QVERIFY(!QFile::exists(sandbox.SettingsFile()));
        keeper.Flush(true);  // a forced flush (the quit) writes all the same
        QVERIFY(QFile::exists(sandbox.SettingsFile()));
    }

    void AnUnreadableFileIsMovedAsideAndTheNextWriteStartsAfresh() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(QByteArray("[General]\nlanguage=de\n\0\0\0", 24));
        SettingsKeeper keeper(sandbox.SettingsFile(), nullptr);
        QString aside;
        QString error;
        QCOMPARE(keeper.CheckFile(aside, error), SettingsKeeper::FileState::movedAside);
        QVERIFY(aside.startsWith(sandbox.SettingsFile() + QStringLiteral(".unreadable-")));
        QFile moved(aside);
        QVERIFY(moved.open(QIODevice::ReadOnly));
        QCOMPARE(moved.readAll().size(), 24);
        QVERIFY(!QFile::exists(sandbox.SettingsFile()));
        keeper.Flush(true);
        QVERIFY(QFile::exists(sandbox.SettingsFile()));
        QVERIFY(!sandbox.ReadSettings().contains('\0'));
    }

    // QFile does not rename over a file that exists: names taken for the next few seconds make
    // the move fail as it would on a read-only share.
    void AFileThatCanNeitherBeReadNorMovedIsNeverWritten() {
        test::UiSandbox sandbox;
        const QByteArray damaged("[General]\nlanguage=de\n\0\0\0", 24);
        sandbox.WriteSettings(damaged);
        const QDateTime now = QDateTime::currentDateTime();
        for (int second = 0; second < 4; ++second) {
            QFile taken(sandbox.SettingsFile() + QStringLiteral(".unreadable-") +
                        now.addSecs(second).toString(QStringLiteral("yyyyMMdd-HHmmss")));
            QVERIFY(taken.open(QIODevice::WriteOnly));
        }
        SettingsKeeper keeper(sandbox.SettingsFile(), nullptr);
        QString aside;
        QString error;
        QCOMPARE(keeper.CheckFile(aside, error), SettingsKeeper::FileState::keptUnreadable);
        QVERIFY(aside.isEmpty());
        QVERIFY(!error.isEmpty());
        keeper.Record().targetPath = QStringLiteral("/games/ac");
        keeper.ScheduleSave();
        keeper.Flush(true);
        QFile file(sandbox.SettingsFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), damaged);
    }
};

}  // namespace tavrin

QTEST_GUILESS_MAIN(tavrin::SettingsKeeperTest)
#include "settings_keeper_test.moc"
