// tavrin-cli on what a player set up in the window: a settings file written by the window's
// own store, and `tavrin-cli sync` with no option syncs its ticked projects with the password
// it remembers, against a real content server on 127.0.0.1.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QtTest>

#include "settings/project_entry.h"
#include "settings/settings_store.h"
#include "tests/support/content_server.h"
#include "ui_sandbox.h"
#include "window_settings.h"

namespace tavrin {

namespace {

// The CLI the build made; a Windows build under Wine reaches / as Z:.
QString CliProgram() {
    const QString path = QString::fromUtf8(TAVRIN_CLI_PROGRAM);
#ifdef _WIN32
    return QDir::toNativeSeparators(QStringLiteral("Z:") + path);
#else
    return path;
#endif
}

}  // namespace

class CliOnWindowSettingsTest : public QObject {
    Q_OBJECT

private slots:
    void ASyncWithoutOptionsRunsTheTickedProjectsWithTheRememberedPassword() {
        test::UiSandbox sandbox;
        const QString game = sandbox.Root() + QStringLiteral("/Assetto Corsa");
        QDir().mkpath(game + QStringLiteral("/content"));
        QFile exe(game + QStringLiteral("/AssettoCorsa.exe"));
        QVERIFY(exe.open(QIODevice::WriteOnly));
        exe.write("MZ");
        exe.close();
        test::ContentServer server;
        server.AddFile("Club Pack", "content/club.ini", "club");
        server.AddFile("Cars", "content/car.ini", "car");
        server.AddFile("Other", "content/other.ini", "not ticked");
        server.RequirePassword("Club Pack", "pw, with a comma");
        const QString url = QString::fromUtf8(test::UrlOf(server));
        SettingsRecord record;
        record.targetPath = QDir::toNativeSeparators(game);
        record.httpLockEnabled = false;  // the test server speaks plain HTTP
        record.servers = {{QStringLiteral("Club"), url}};
        record.selectedDomains = {url};
        record.selectedProjects = {ProjectKey(url, QStringLiteral("Club Pack")),
                                   ProjectKey(url, QStringLiteral("Cars"))};
        record.projectPasswords.insert(ProjectKey(url, QStringLiteral("Club Pack")).toLower(),
                                       QStringLiteral("pw, with a comma"));
        WriteSettingsFile(sandbox.SettingsFile(), record, {});

        QProcess cli;
        cli.setProcessChannelMode(QProcess::MergedChannels);
        cli.start(CliProgram(),
                  {QStringLiteral("--language"), QStringLiteral("en"), QStringLiteral("sync")});
        QVERIFY(cli.waitForFinished(60000));
        QVERIFY2(cli.exitCode() == 0, cli.readAll().constData());
        QCOMPARE(test::FileAt(game + QStringLiteral("/content/club.ini")), QByteArray("club"));
        QCOMPARE(test::FileAt(game + QStringLiteral("/content/car.ini")), QByteArray("car"));
        QCOMPARE(test::FileAt(game + QStringLiteral("/content/other.ini")),
                 QByteArray("<missing>"));
    }

    void WithoutSettingsTheUsageErrorSaysWhatIsMissing() {
        test::UiSandbox sandbox;
        QProcess cli;
        cli.start(CliProgram(), {QStringLiteral("sync")});
        QVERIFY(cli.waitForFinished(60000));
        QCOMPARE(cli.exitCode(), 2);
        QVERIFY2(cli.readAllStandardError().contains("sync needs --server (there are no window "
                                                     "settings in "),
                 "the usage error names what is missing");
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::CliOnWindowSettingsTest)
#include "cli_on_window_settings_test.moc"
