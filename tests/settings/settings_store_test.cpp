// The settings file as the window reads and writes it: real INI files in a sandbox.
#include <QDir>
#include <QSettings>
#include <QtTest>
#include <cmath>

#include "app/ini_file.h"
#include "settings/settings_store.h"
#include "ui_sandbox.h"

namespace tavrin {

class SettingsStoreTest : public QObject {
    Q_OBJECT

    static SettingsRecord Load(const test::UiSandbox& sandbox, SettingsLoadHooks hooks = {}) {
        SettingsRecord record;
        ReadSettingsFile(sandbox.SettingsFile(), record, hooks);
        return record;
    }

private slots:
    void MissingFileGivesTheDefaults() {
        test::UiSandbox sandbox;
        const SettingsRecord record = Load(sandbox);
        QCOMPARE(record.language, QStringLiteral("en"));
        QVERIFY(record.httpLockEnabled);
        QVERIFY(record.servers.empty());
        QVERIFY(record.selectedDomains.isEmpty());
        QVERIFY(record.targetValidationEnabled);
        QCOMPARE(record.autostartMode, AutostartMode::tray);
        QVERIFY(!record.autoSyncEnabled);
        QCOMPARE(CurrentLanguageSetting(sandbox.SettingsFile()), QStringLiteral("en"));
    }

    void TheDownloadLimitIsKeptAndAStoredValueBroughtIntoItsRange() {
        test::UiSandbox sandbox;
        QVERIFY(!Load(sandbox).downloadLimitEnabled);
        QCOMPARE(Load(sandbox).downloadLimitMBps, 10.0);
        SettingsRecord record;
        record.downloadLimitEnabled = true;
        record.downloadLimitMBps = 0.5;
        WriteSettingsFile(sandbox.SettingsFile(), record, {});
        QVERIFY(sandbox.ReadSettings().contains("download_limit_enabled=true"));
        QVERIFY(sandbox.ReadSettings().contains("download_limit_mbps=0.5"));
        QVERIFY(Load(sandbox).downloadLimitEnabled);
        QCOMPARE(Load(sandbox).downloadLimitMBps, 0.5);
        for (const auto& [stored, loaded] : std::vector<std::pair<QByteArray, double>>{
                 {"0", 0.1}, {"-3", 0.1}, {"99999", 10000.0}, {"fast", 10.0}, {"nan", 10.0}}) {
            sandbox.WriteSettings("[General]\ndownload_limit_mbps=" + stored + "\n");
            QCOMPARE(Load(sandbox).downloadLimitMBps, loaded);
        }
    }

    void SyncingWhileTheGameRunsIsOffUnlessStored() {
        test::UiSandbox sandbox;
        QVERIFY(!Load(sandbox).syncWhileGameRunning);
        SettingsRecord record;
        record.syncWhileGameRunning = true;
        WriteSettingsFile(sandbox.SettingsFile(), record, {});
        QVERIFY(sandbox.ReadSettings().contains("sync_while_game_running=true"));
        QVERIFY(Load(sandbox).syncWhileGameRunning);
    }

    void ServerWithAnEmptyUrlIsDroppedAndTheStaleEntryRemovedOnSave() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(
            "[Domains]\ncount=3\ndomain_0_name=One\ndomain_0_url=https://one.example\n"
            "domain_1_name=Broken\ndomain_1_url=\ndomain_2_name=Three\ndomain_2_url=https://"
            "three.example/\n"
            "domain_7_url=https://ancient.example\n");
        const SettingsRecord record = Load(sandbox);
        QCOMPARE(record.servers.size(), std::size_t{2});
        QCOMPARE(record.servers[0].name, QStringLiteral("One"));
        QCOMPARE(record.servers[1].url, QStringLiteral("https://three.example"));

        WriteSettingsFile(sandbox.SettingsFile(), record, {});
        const QSettings file(sandbox.SettingsFile(), QSettings::IniFormat);
        QCOMPARE(file.value(QStringLiteral("Domains/count")).toInt(), 2);
        QCOMPARE(file.value(QStringLiteral("Domains/domain_1_name")).toString(),
                 QStringLiteral("Three"));
        QVERIFY(!file.contains(QStringLiteral("Domains/domain_2_name")));
        QVERIFY(!file.contains(QStringLiteral("Domains/domain_2_url")));
        QVERIFY(!file.contains(QStringLiteral("Domains/domain_7_url")));
    }

    void CleanUpStopsAtIndex127() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(
            "[Domains]\ndomain_127_url=https://a.example\ndomain_128_url=https://b.example\n");
        WriteSettingsFile(sandbox.SettingsFile(), SettingsRecord{}, {});
        const QSettings file(sandbox.SettingsFile(), QSettings::IniFormat);
        QVERIFY(!file.contains(QStringLiteral("Domains/domain_127_url")));
        QVERIFY(file.contains(QStringLiteral("Domains/domain_128_url")));
    }

    void NamelessServersAreNamedAfterHostAndPort() {
        QCOMPARE(DerivedServerName(QStringLiteral("https://h.example:8443")),
                 QStringLiteral("h.example:8443"));
        QCOMPARE(DerivedServerName(QStringLiteral("https://h.example:443")),
                 QStringLiteral("h.example"));
        QCOMPARE(DerivedServerName(QStringLiteral("https://h.example")),
                 QStringLiteral("h.example"));
        QCOMPARE(DerivedServerName(QStringLiteral("http://h.example:80/sync")),
                 QStringLiteral("h.example"));
        QCOMPARE(DerivedServerName(QStringLiteral("not a url")), QStringLiteral("not a url"));

        test::UiSandbox sandbox;
        sandbox.WriteSettings("[Domains]\ncount=1\ndomain_0_url=  HTTPS://H.example:8443/  \n");
        const SettingsRecord record = Load(sandbox);
        QCOMPARE(record.servers.size(), std::size_t{1});
        QCOMPARE(record.servers[0].url, QStringLiteral("https://H.example:8443"));
        QCOMPARE(record.servers[0].name, QStringLiteral("H.example:8443"));
    }

    void PlainHttpIsKeptAsTypedWhileTheLockIsOn() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(
            "[General]\nhttp_lock_enabled=true\n[Domains]\ncount=1\ndomain_0_url=http://"
            "h.example:80/\n");
        QCOMPARE(Load(sandbox).servers[0].url, QStringLiteral("http://h.example:80/"));
        sandbox.WriteSettings(
            "[General]\nhttp_lock_enabled=false\n[Domains]\ncount=1\ndomain_0_url=http://"
            "h.example:80/\n");
        QCOMPARE(Load(sandbox).servers[0].url, QStringLiteral("http://h.example"));
    }

    void TheLegacySingleSelectionIsReadAndWrittenBack() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(
            "[General]\nlast_domain=https://b.example/\n[Domains]\ncount=2\n"
            "domain_0_url=https://a.example\ndomain_1_url=https://b.example\n");
        const SettingsRecord record = Load(sandbox);
        QCOMPARE(record.selectedDomains, QStringList{QStringLiteral("https://b.example")});
        WriteSettingsFile(sandbox.SettingsFile(), record, {});
        const QSettings file(sandbox.SettingsFile(), QSettings::IniFormat);
        QCOMPARE(file.value(QStringLiteral("selected_domains")).toString(),
                 QStringLiteral("https://b.example"));
        QCOMPARE(file.value(QStringLiteral("last_domain")).toString(),
                 QStringLiteral("https://b.example"));
    }

    void SelectedDomainsAreSplitTrimmedAndNormalised() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(
            "[General]\nselected_domains=\" a.example/ || https://B.example:443 |\"\n");
        QCOMPARE(Load(sandbox).selectedDomains, (QStringList{QStringLiteral("https://a.example"),
                                                             QStringLiteral("https://B.example")}));
    }

    void WithoutAnySelectionTheFirstServerIsSelected() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(
            "[Domains]\ncount=2\ndomain_0_url=https://a.example\ndomain_1_url=https://b.example\n");
        QCOMPARE(Load(sandbox).selectedDomains, QStringList{QStringLiteral("https://a.example")});
    }

    void LanguageIsCutToTwoLowerCaseLetters() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings("[General]\nlanguage=DE-de\n");
        QCOMPARE(Load(sandbox).language, QStringLiteral("de"));
        QCOMPARE(CurrentLanguageSetting(sandbox.SettingsFile()), QStringLiteral("de"));
        sandbox.WriteSettings("[General]\nlanguage=\"  \"\n");
        QCOMPARE(CurrentLanguageSetting(sandbox.SettingsFile()), QStringLiteral("en"));
    }

    // Files rewritten within one second keep different sizes: QSettings caches a parsed file
    // while its size and time stay the same.
    void AutostartModeReadsWindowOnlyForThatWord() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings("[General]\nautostart_mode=\"Window \"\n");
        QCOMPARE(Load(sandbox).autostartMode, AutostartMode::window);
        sandbox.WriteSettings("[General]\nautostart_mode=minimized-to-tray\n");
        QCOMPARE(Load(sandbox).autostartMode, AutostartMode::tray);
    }

    void TheRegisteredAutostartModeWins() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings("[General]\nautostart_mode=window\n");
        SettingsLoadHooks hooks;
        hooks.registeredModeOr = [](AutostartMode) { return AutostartMode::tray; };
        QCOMPARE(Load(sandbox, hooks).autostartMode, AutostartMode::tray);
    }

    void NegativeOrNanRatesLoadAsZero() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(
            "[General]\ntelemetry_download_bps=-5\ntelemetry_download_fps=nan\n"
            "telemetry_compare_fps=1234.5\n");
        const SettingsRecord record = Load(sandbox);
        QCOMPARE(record.downloadBytesPerSecond, 0.0);
        QCOMPARE(record.downloadFilesPerSecond, 0.0);
        QCOMPARE(record.compareFilesPerSecond, 1234.5);
    }

    void AutoSyncIsSwitchedOffForAnUnusableFolder() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings("[General]\nauto_sync_enabled=true\ntarget_path=" +
                              sandbox.Root().toUtf8() + "/nowhere\n");
        SettingsLoadHooks hooks;
        QString asked;
        hooks.isTargetUsable = [&asked](const QString& folder, bool) {
            asked = folder;
            return false;
        };
        QVERIFY(!Load(sandbox, hooks).autoSyncEnabled);
        QCOMPARE(asked, QDir::toNativeSeparators(sandbox.Root() + QStringLiteral("/nowhere")));
        hooks.isTargetUsable = [](const QString&, bool) { return true; };
        QVERIFY(Load(sandbox, hooks).autoSyncEnabled);
    }

    void AnEmptyGameFolderIsDiscoveredButNotWritten() {
        test::UiSandbox sandbox;
        SettingsLoadHooks hooks;
        hooks.discoverGameFolder = [] { return QStringLiteral("/games/ac"); };
        const SettingsRecord record = Load(sandbox, hooks);
        QCOMPARE(record.targetPath, QDir::toNativeSeparators(QStringLiteral("/games/ac")));
        QVERIFY(!QFile::exists(sandbox.SettingsFile()));
    }

    void PasswordsSkipEmptyEntriesAndLowerTheirKeys() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(
            "[ProjectPasswords]\n1\\key=\" HTTPS://A.example|Cars \"\n1\\password=s3cret\n"
            "2\\key=https://a.example|empty\n2\\password=\n3\\key=\n3\\password=x\nsize=3\n");
        const SettingsRecord record = Load(sandbox);
        QCOMPARE(record.projectPasswords.size(), 1);
        QCOMPARE(record.projectPasswords.value(QStringLiteral("https://a.example|cars")),
                 QStringLiteral("s3cret"));
    }

    void RevisionsTakeTheLaterOfARepeatedDomainAndAreWrittenInOrder() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings(
            "[AutoSyncRevisions]\n1\\domain=https://b.example\n1\\revision=4\n"
            "2\\domain=\n2\\revision=9\n3\\domain=HTTPS://B.example \n3\\revision=7\n"
            "4\\domain=https://a.example\n4\\revision=18446744073709551615\nsize=4\n");
        QSettings file(sandbox.SettingsFile(), QSettings::IniFormat);
        const auto revisions = ReadAutoSyncRevisions(file);
        QCOMPARE(revisions.size(), std::size_t{2});
        QCOMPARE(revisions.at(QStringLiteral("https://b.example")), quint64{7});
        QCOMPARE(revisions.at(QStringLiteral("https://a.example")),
                 quint64{18446744073709551615ULL});

        WriteAutoSyncRevisionsFile(sandbox.SettingsFile(), revisions);
        const QByteArray text = sandbox.ReadSettings();
        QVERIFY2(text.contains("[AutoSyncRevisions]\n1\\domain=https://"
                               "a.example\n1\\revision=18446744073709551615\n"
                               "2\\domain=https://b.example\n2\\revision=7\nsize=2\n"),
                 text.constData());
    }

    void TheFullSaveWritesEveryKeyIntoTheGeneralSectionAndKeepsTheClientId() {
        test::UiSandbox sandbox;
        QVERIFY(WriteIniValue(sandbox.SettingsFile().toStdWString(), L"General", L"client_id",
                              L"tavrin-0123456789abcdef"));
        SettingsRecord record;
        record.language = QStringLiteral("fr");
        record.servers = {{QStringLiteral("A"), QStringLiteral("https://a.example")}};
        record.selectedDomains = {QStringLiteral("https://a.example")};
        record.targetPath = QStringLiteral(" /games/ac ");
        record.autostartMode = AutostartMode::window;
        record.selectedProjects = {QStringLiteral("https://a.example|Cars"),
                                   QStringLiteral("https://a.example|Tracks")};
        record.projectPasswords.insert(QStringLiteral("https://a.example|cars"),
                                       QStringLiteral("pw"));
        WriteSettingsFile(sandbox.SettingsFile(), record,
                          {{QStringLiteral("https://a.example"), 12}});

        const QByteArray text = sandbox.ReadSettings();
        QVERIFY2(!text.contains("[%General]"), text.constData());
        QCOMPARE(ReadIniValue(sandbox.SettingsFile().toStdWString(), L"General", L"client_id"),
                 std::wstring(L"tavrin-0123456789abcdef"));
        QCOMPARE(ReadIniValue(sandbox.SettingsFile().toStdWString(), L"General", L"language"),
                 std::wstring(L"fr"));
        QCOMPARE(ReadIniValue(sandbox.SettingsFile().toStdWString(), L"General", L"autostart_mode"),
                 std::wstring(L"window"));
        // Native separators, each backslash doubled by QSettings' INI escaping.
        QCOMPARE(ReadIniValue(sandbox.SettingsFile().toStdWString(), L"General", L"target_path"),
                 QDir::toNativeSeparators(QStringLiteral("/games/ac"))
                     .replace(QStringLiteral("\\"), QStringLiteral("\\\\"))
                     .toStdWString());

        const SettingsRecord again = [&] {
            SettingsRecord loaded;
            ReadSettingsFile(sandbox.SettingsFile(), loaded, {});
            return loaded;
        }();
        QCOMPARE(again.language, record.language);
        QCOMPARE(again.servers[0].name, QStringLiteral("A"));
        QCOMPARE(again.selectedProjects, record.selectedProjects);
        QCOMPARE(again.projectPasswords, record.projectPasswords);
        QCOMPARE(again.autostartMode, AutostartMode::window);
    }
};

}  // namespace tavrin

QTEST_GUILESS_MAIN(tavrin::SettingsStoreTest)
#include "settings_store_test.moc"
