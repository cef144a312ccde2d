// The XDG autostart entry written, read back and removed in a sandboxed config folder.
#include <QDir>
#include <QFile>
#include <QtTest>

#include "base/executable_directory.h"
#include "desktop/autostart.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "settings/settings_store.h"
#include "ui_sandbox.h"

namespace tavrin {

namespace {

QByteArray ReadFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString OwnPath() {
    return QString::fromStdWString(PathToWide(ExecutablePath()));
}

}  // namespace

class AutostartPosixTest : public QObject {
    Q_OBJECT

private slots:
    void init() { SetLanguage("en"); }

    // The check box, its hint and its errors name where Linux keeps the entry, in every
    // language, and never the Windows registry.
    void TheTextsSpeakOfLinuxNotWindows() {
        const AutostartTextKeys& keys = AutostartTexts();
        for (const char* language : {"en", "de", "es", "fr", "hu", "nl"}) {
            SetLanguage(language);
            for (const char* key : {keys.checkbox, keys.hint, keys.writeFailed,
                                    keys.verifyEnableFailed, keys.verifyDisableFailed}) {
                const QString text = QString::fromStdString(tavrin::tr(key));
                QVERIFY2(!text.contains(QStringLiteral("Windows")), key);
                QVERIFY2(!text.startsWith(QStringLiteral("dialog.")) &&
                             !text.startsWith(QStringLiteral("error.")),
                         key);
            }
            QVERIFY(QString::fromStdString(tavrin::tr(keys.hint))
                        .contains(QStringLiteral("~/.config/autostart")));
        }
        SetLanguage("en");
    }

    void EnablingInWindowModeWritesOnlyTheQuotedPath() {
        test::UiSandbox sandbox;
        QString error;
        QVERIFY(SetAutostart(true, AutostartMode::window, error));
        const QByteArray entry = ReadFile(sandbox.AutostartEntry());
        QVERIFY2(entry.contains("\nExec=\"" + OwnPath().toUtf8() + "\"\n"), entry.constData());
        const AutostartState state = QueryAutostart();
        QVERIFY(state.exists && state.parsed && state.matchesExecutable);
        QCOMPARE(state.mode, AutostartMode::window);
        QVERIFY(IsAutostartRegistered());
    }

    void SwitchingToTrayRewritesTheEntry() {
        test::UiSandbox sandbox;
        QString error;
        QVERIFY(SetAutostart(true, AutostartMode::window, error));
        QVERIFY(SetAutostart(true, AutostartMode::tray, error));
        QVERIFY(ReadFile(sandbox.AutostartEntry()).contains("\" --start-in-tray\n"));
        QCOMPARE(RegisteredModeOr(AutostartMode::window), AutostartMode::tray);
    }

    void DisablingRemovesTheEntryAndSucceedsWhenThereIsNone() {
        test::UiSandbox sandbox;
        QString error;
        QVERIFY(SetAutostart(true, AutostartMode::tray, error));
        QVERIFY(SetAutostart(false, AutostartMode::tray, error));
        QVERIFY(!QFile::exists(sandbox.AutostartEntry()));
        QVERIFY(SetAutostart(false, AutostartMode::tray, error));
        QVERIFY(!QueryAutostart().exists);
        QCOMPARE(RegisteredModeOr(AutostartMode::window), AutostartMode::window);
    }

    void AnEntryForAnotherCopyIsNotRegisteredAndIsOverwritten() {
        test::UiSandbox sandbox;
        QVERIFY(WriteAutostartValue(QStringLiteral("\"/opt/other/tavrin\" --start-in-tray")));
        QVERIFY(QueryAutostart().exists);
        QVERIFY(!IsAutostartRegistered());
        QCOMPARE(RegisteredModeOr(AutostartMode::window), AutostartMode::window);
        QString error;
        QVERIFY(SetAutostart(true, AutostartMode::window, error));
        QVERIFY(IsAutostartRegistered());
    }

    void TheAliasInUpperCaseReportsTray() {
        test::UiSandbox sandbox;
        QVERIFY(WriteAutostartValue(QStringLiteral("\"%1\" --MINIMIZED-TO-TRAY").arg(OwnPath())));
        QCOMPARE(QueryAutostart().mode, AutostartMode::tray);
    }

    void ASwitchedOffEntryCountsAsNone() {
        test::UiSandbox sandbox;
        QDir().mkpath(QFileInfo(sandbox.AutostartEntry()).path());
        QFile file(sandbox.AutostartEntry());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Desktop Entry]\nType=Application\nExec=\"" + OwnPath().toUtf8() +
                   "\"\nHidden=true\n");
        file.close();
        QVERIFY(!QueryAutostart().exists);
    }

    void AnUnwritableFolderGivesTheWriteError() {
        test::UiSandbox sandbox;
        // The autostart folder's place is taken by a file.
        QFile blocker(sandbox.Root() + QStringLiteral("/config/autostart"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QString error;
        QVERIFY(!SetAutostart(true, AutostartMode::tray, error));
        QCOMPARE(error, QString::fromStdString(tavrin::tr("error.autostart_entry_write_failed")));
        QVERIFY(!error.startsWith(QStringLiteral("error.")));
    }

    void AnEntryThatReadsBackWrongGivesTheVerifyError() {
        test::UiSandbox sandbox;
        // A folder in the entry's place: the write cannot land, so verification must fail
        // or the write report it.
        QDir().mkpath(sandbox.AutostartEntry());
        QString error;
        QVERIFY(!SetAutostart(true, AutostartMode::tray, error));
        QVERIFY(error == QString::fromStdString(tavrin::tr("error.autostart_entry_write_failed")) ||
                error == QString::fromStdString(
                             tavrin::tr("error.autostart_entry_verify_enable_failed")));
        // Removal of a folder standing there fails, and the entry's place is still taken.
        QVERIFY(!SetAutostart(false, AutostartMode::tray, error));
    }

    void LoadingTakesTheModeOfTheRegisteredEntry() {
        test::UiSandbox sandbox;
        QString error;
        QVERIFY(SetAutostart(true, AutostartMode::tray, error));
        sandbox.WriteSettings("[General]\nautostart_mode=window\n");
        SettingsRecord record;
        SettingsLoadHooks hooks;
        hooks.registeredModeOr = RegisteredModeOr;
        ReadSettingsFile(sandbox.SettingsFile(), record, hooks);
        QCOMPARE(record.autostartMode, AutostartMode::tray);
    }
};

}  // namespace tavrin

QTEST_GUILESS_MAIN(tavrin::AutostartPosixTest)
#include "autostart_posix_test.moc"
