// The merge of accepted settings-dialog values into the settings record, without a window:
// server edits carry their ticks, passwords and revisions, and the selection follows.
#include <QtTest>

#include "settings/settings_merge.h"

namespace tavrin {

namespace {

const QString kOne = QStringLiteral("https://one.example");
const QString kTwo = QStringLiteral("https://two.example");
const QString kMoved = QStringLiteral("https://moved.example");

ServerEntry Server(const QString& name, const QString& url) {
    return {name, url};
}

ProjectEntry Project(const QString& url, const char* name) {
    ProjectEntry entry;
    entry.serverName = QStringLiteral("shown");
    entry.serverUrl = url;
    entry.projectName = name;
    return entry;
}

// Two servers, both selected, with a tick, a password and a revision each.
SettingsRecord TwoServers() {
    SettingsRecord settings;
    settings.servers = {Server(QStringLiteral("One"), kOne), Server(QStringLiteral("Two"), kTwo)};
    settings.selectedDomains = {kOne, kTwo};
    settings.selectedProjects = {kOne + QStringLiteral("|Cars"), kTwo + QStringLiteral("|Tracks")};
    settings.projectPasswords.insert(kOne + QStringLiteral("|cars"), QStringLiteral("secret1"));
    settings.projectPasswords.insert(kTwo + QStringLiteral("|tracks"), QStringLiteral("secret2"));
    settings.autoSyncRevisions[kOne] = 7;
    settings.autoSyncRevisions[kTwo] = 9;
    return settings;
}

}  // namespace

class SettingsMergeTest : public QObject {
    Q_OBJECT

private slots:
    void DialogValuesStartFromTheRecord() {
        SettingsRecord settings = TwoServers();
        settings.targetPath = QStringLiteral("/games/ac");
        settings.httpLockEnabled = false;
        settings.autostartMode = AutostartMode::window;
        settings.autoSyncEnabled = true;
        const QStringList watched = {kOne + QStringLiteral("|Cars")};
        const SettingsDialogValues values = DialogValuesOf(settings, true, watched);
        QCOMPARE(values.servers.size(), std::size_t{2});
        QCOMPARE(values.servers[1].url, kTwo);
        QCOMPARE(values.targetPath, QStringLiteral("/games/ac"));
        QVERIFY(!values.httpLockEnabled);
        QVERIFY(values.autostartEnabled);
        QCOMPARE(values.autostartMode, AutostartMode::window);
        QVERIFY(values.autoSyncEnabled);
        QCOMPARE(values.autoSyncProjects, watched);
    }

    void AChangedAddressFollowsEveryHopAndStopsOnALoop() {
        QHash<QString, QString> changed;
        changed.insert(kOne, kMoved);
        changed.insert(kMoved, kTwo);
        QCOMPARE(FollowChangedUrl(changed, QStringLiteral(" HTTPS://ONE.example ")), kTwo);
        QCOMPARE(FollowChangedUrl(changed, QStringLiteral("https://other.example")),
                 QStringLiteral("https://other.example"));
        changed.insert(kTwo, kOne);  // back where it came from: the walk is bounded
        const QString settled = FollowChangedUrl(changed, kOne);
        QVERIFY(settled == kOne || settled == kTwo || settled == kMoved);
    }

    void AProjectKeyMovesWithItsServerAndKeepsTheProjectName() {
        QHash<QString, QString> changed;
        changed.insert(kOne, kMoved);
        QCOMPARE(MoveProjectKey(changed, kOne + QStringLiteral("|Cars")),
                 kMoved + QStringLiteral("|Cars"));
        QCOMPARE(MoveProjectKey(changed, kTwo + QStringLiteral("|Cars")),
                 kTwo + QStringLiteral("|Cars"));
        QCOMPARE(MoveProjectKey(changed, QStringLiteral("no bar")), QStringLiteral("no bar"));
    }

    void ProjectKeysCompareAsSetsWithoutCase() {
        QVERIFY(SameProjectKeys({QStringLiteral("HTTPS://One.Example|Cars")},
                                {kOne + QStringLiteral("|cars")}));
        QVERIFY(
            SameProjectKeys({kOne + QStringLiteral("|Cars"), kTwo + QStringLiteral("|Tracks")},
                            {kTwo + QStringLiteral("|Tracks"), kOne + QStringLiteral("|Cars")}));
        QVERIFY(
            !SameProjectKeys({kOne + QStringLiteral("|Cars")}, {kTwo + QStringLiteral("|Cars")}));
        QVERIFY(!SameProjectKeys({kOne + QStringLiteral("|Cars")}, {}));
    }

    void AnAddedServerIsSelectedAndARemovedOneIsNot() {
        SettingsRecord settings = TwoServers();
        settings.selectedDomains = {kTwo};
        const std::vector<ServerEntry> before = settings.servers;
        settings.servers = {Server(QStringLiteral("One"), kOne),
                            Server(QStringLiteral("Moved"), kMoved)};
        QCOMPARE(SelectionAfterServerEdit(settings, before), QStringList{kMoved});
    }

    void NothingLeftSelectedSelectsTheFirstServer() {
        SettingsRecord settings = TwoServers();
        settings.selectedDomains = {kTwo};
        const std::vector<ServerEntry> before = settings.servers;
        settings.servers = {Server(QStringLiteral("One"), kOne)};
        QCOMPARE(SelectionAfterServerEdit(settings, before), QStringList{kOne});
    }

    void AChangedAddressTakesTicksPasswordsRevisionsAndTheProjectsOnShow() {
        SettingsRecord settings = TwoServers();
        settings.autoSyncProjects = {kOne + QStringLiteral("|Cars")};
        settings.servers[0].url = QStringLiteral("https://Moved.example");
        std::vector<ProjectEntry> onShow = {Project(kOne, "Cars"), Project(kTwo, "Tracks")};
        QHash<QString, QString> changed;
        changed.insert(kOne, kMoved);
        MoveKeysOfChangedUrls(settings, onShow, changed);
        QCOMPARE(settings.selectedProjects,
                 (QStringList{kMoved + QStringLiteral("|Cars"), kTwo + QStringLiteral("|Tracks")}));
        QCOMPARE(settings.autoSyncProjects, QStringList{kMoved + QStringLiteral("|Cars")});
        QCOMPARE(settings.projectPasswords.value(kMoved + QStringLiteral("|cars")),
                 QStringLiteral("secret1"));
        QVERIFY(!settings.projectPasswords.contains(kOne + QStringLiteral("|cars")));
        QCOMPARE(settings.autoSyncRevisions.at(kMoved), quint64{7});
        QCOMPARE(settings.autoSyncRevisions.count(kOne), std::size_t{0});
        // The entries take the address as the server list spells it.
        QCOMPARE(onShow[0].serverUrl, QStringLiteral("https://Moved.example"));
        QCOMPARE(onShow[1].serverUrl, kTwo);
    }

    void ARemovedServerTakesItsTicksPasswordsAndRevisionsAlong() {
        SettingsRecord settings = TwoServers();
        settings.autoSyncProjects = {kTwo + QStringLiteral("|Tracks")};
        settings.servers = {Server(QStringLiteral("One"), kOne)};
        ForgetRemovedServers(settings);
        QCOMPARE(settings.selectedProjects, QStringList{kOne + QStringLiteral("|Cars")});
        QVERIFY(settings.autoSyncProjects.isEmpty());
        QCOMPARE(settings.projectPasswords.size(), 1);
        QVERIFY(settings.projectPasswords.contains(kOne + QStringLiteral("|cars")));
        QCOMPARE(settings.autoSyncRevisions.size(), std::size_t{1});
        QCOMPARE(settings.autoSyncRevisions.at(kOne), quint64{7});
    }

    void AcceptedValuesAreMergedAndTheirConsequencesReported() {
        SettingsRecord settings = TwoServers();
        std::vector<ProjectEntry> onShow;
        SettingsDialogValues values = DialogValuesOf(settings, false, {});
        values.servers = {Server(QStringLiteral("One"), kOne)};
        values.targetPath = QStringLiteral("  /games/ac  ");
        values.targetValidationEnabled = false;
        values.httpLockEnabled = false;
        values.autostartMode = AutostartMode::window;
        values.downloadLimitEnabled = true;
        values.downloadLimitMBps = 3.5;
        values.autoSyncEnabled = true;
        values.autoSyncProjects = {kOne + QStringLiteral("|Cars")};
        const SettingsMergeOutcome outcome =
            MergeAcceptedSettings(settings, onShow, values, {}, {});
        QVERIFY(outcome.selectedServersChanged);
        QVERIFY(outcome.httpLockChanged);
        QCOMPARE(settings.servers.size(), std::size_t{1});
        QCOMPARE(settings.selectedDomains, QStringList{kOne});
        QCOMPARE(settings.selectedProjects, QStringList{kOne + QStringLiteral("|Cars")});
        QCOMPARE(settings.autoSyncRevisions.count(kTwo), std::size_t{0});
        QCOMPARE(settings.targetPath, QDir::toNativeSeparators(QStringLiteral("/games/ac")));
        QVERIFY(!settings.targetValidationEnabled);
        QVERIFY(!settings.httpLockEnabled);
        QCOMPARE(settings.autostartMode, AutostartMode::window);
        QVERIFY(settings.downloadLimitEnabled);
        QCOMPARE(settings.downloadLimitMBps, 3.5);
        QVERIFY(settings.autoSyncEnabled);
        QCOMPARE(settings.autoSyncProjects, QStringList{kOne + QStringLiteral("|Cars")});
    }

    void UnchangedValuesChangeNothing() {
        SettingsRecord settings = TwoServers();
        std::vector<ProjectEntry> onShow;
        const SettingsDialogValues values = DialogValuesOf(settings, false, {});
        const SettingsMergeOutcome outcome =
            MergeAcceptedSettings(settings, onShow, values, {}, {});
        QVERIFY(!outcome.selectedServersChanged);
        QVERIFY(!outcome.httpLockChanged);
        QCOMPARE(settings.selectedDomains, (QStringList{kOne, kTwo}));
        QCOMPARE(settings.projectPasswords.size(), 2);
    }

    // Untouched auto-sync ticks over an empty list of its own keep auto-sync following the
    // project section's ticks; ticks the player changed become its own list.
    void AutoSyncKeepsFollowingTheTicksUntilGivenProjectsOfItsOwn() {
        SettingsRecord settings = TwoServers();
        std::vector<ProjectEntry> onShow;
        const QStringList watched = settings.selectedProjects;
        SettingsDialogValues values = DialogValuesOf(settings, false, watched);
        MergeAcceptedSettings(settings, onShow, values, {}, watched);
        QVERIFY(settings.autoSyncProjects.isEmpty());

        values.autoSyncProjects = {kTwo + QStringLiteral("|Tracks")};
        MergeAcceptedSettings(settings, onShow, values, {}, watched);
        QCOMPARE(settings.autoSyncProjects, QStringList{kTwo + QStringLiteral("|Tracks")});
    }
};

}  // namespace tavrin

QTEST_GUILESS_MAIN(tavrin::SettingsMergeTest)
#include "settings_merge_test.moc"
