#include "settings/settings_store.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cmath>

#include "net/server_endpoint.h"

namespace tavrin {

namespace {

// Top-level keys: QSettings writes them into the "[General]" section.
const QString kLanguage = QStringLiteral("language");
const QString kHttpLock = QStringLiteral("http_lock_enabled");
const QString kSelectedDomains = QStringLiteral("selected_domains");
const QString kLastDomain = QStringLiteral("last_domain");
const QString kTargetPath = QStringLiteral("target_path");
const QString kTargetValidation = QStringLiteral("target_validation_enabled");
const QString kDownloadBps = QStringLiteral("telemetry_download_bps");
const QString kDownloadFps = QStringLiteral("telemetry_download_fps");
const QString kCompareFps = QStringLiteral("telemetry_compare_fps");
const QString kAutostartMode = QStringLiteral("autostart_mode");
const QString kAutoSyncEnabled = QStringLiteral("auto_sync_enabled");
// "until_resumed", or the UTC time the pause ends in ISO form; absent when not paused.
const QString kAutoSyncPausedUntil = QStringLiteral("auto_sync_paused_until");
const QString kUntilResumed = QStringLiteral("until_resumed");
const QString kDownloadLimitEnabled = QStringLiteral("download_limit_enabled");
const QString kSyncWhileGameRunning = QStringLiteral("sync_while_game_running");
const QString kDownloadLimitMBps = QStringLiteral("download_limit_mbps");
const QString kSelectedProjects = QStringLiteral("selected_projects");
const QString kAutoSyncProjects = QStringLiteral("auto_sync_projects");
const QString kDomainCount = QStringLiteral("Domains/count");
const QString kPasswords = QStringLiteral("ProjectPasswords");
const QString kRevisions = QStringLiteral("AutoSyncRevisions");

// The server list is cleaned up to this index and no further.
constexpr int kLastCleanedServerIndex = 127;

QString DomainKey(int index) {
    return QStringLiteral("Domains/domain_%1").arg(index);
}

QString TrimmedString(const QSettings& settings, const QString& key) {
    return settings.value(key).toString().trimmed();
}

// A measured rate: anything not above zero, NaN included, is no measurement.
double DownloadLimitOf(const QVariant& stored) {
    bool ok = false;
    const double value = stored.toDouble(&ok);
    return ok && std::isfinite(value)
               ? std::clamp(value, kLeastDownloadLimitMBps, kMostDownloadLimitMBps)
               : 10.0;
}

double ReadRate(const QSettings& settings, const QString& key) {
    const double value = settings.value(key, 0.0).toDouble();
    return value > 0.0 ? value : 0.0;
}

QStringList SplitDomains(const QString& joined, bool allowPlainHttp) {
    QStringList domains;
    for (const QString& part : joined.trimmed().split(QLatin1Char('|'), Qt::SkipEmptyParts)) {
        const QString trimmed = part.trimmed();
        if (!trimmed.isEmpty()) {
            domains << NormalizeStoredServerUrl(trimmed, allowPlainHttp);
        }
    }
    return domains;
}

void ReadServers(const QSettings& settings, SettingsRecord& record) {
    record.servers.clear();
    const int count = std::max(0, settings.value(kDomainCount, 0).toInt());
    for (int i = 0; i < count; ++i) {
        const QString name = TrimmedString(settings, DomainKey(i) + QStringLiteral("_name"));
        const QString url = TrimmedString(settings, DomainKey(i) + QStringLiteral("_url"));
        if (url.isEmpty()) {
            continue;
        }
        const QString normalised = NormalizeStoredServerUrl(url, !record.httpLockEnabled);
        record.servers.push_back(
            {name.isEmpty() ? DerivedServerName(normalised) : name, normalised});
    }
}

void ReadSelectedDomains(const QSettings& settings, SettingsRecord& record) {
    const bool allowPlainHttp = !record.httpLockEnabled;
    record.selectedDomains =
        SplitDomains(settings.value(kSelectedDomains).toString(), allowPlainHttp);
    if (record.selectedDomains.isEmpty()) {
        const QString last = TrimmedString(settings, kLastDomain);
        if (!last.isEmpty()) {
            record.selectedDomains << NormalizeStoredServerUrl(last, allowPlainHttp);
        }
    }
    if (record.selectedDomains.isEmpty() && !record.servers.empty()) {
        record.selectedDomains << record.servers.front().url;
    }
}

void ReadProjectPasswords(QSettings& settings, SettingsRecord& record) {
    record.projectPasswords.clear();
    const int size = settings.beginReadArray(kPasswords);
    for (int i = 0; i < size; ++i) {
        settings.setArrayIndex(i);
        const QString key = settings.value(QStringLiteral("key")).toString().trimmed().toLower();
        const QString password = settings.value(QStringLiteral("password")).toString();
        if (!key.isEmpty() && !password.isEmpty()) {
            record.projectPasswords.insert(key, password);
        }
    }
    settings.endArray();
}

void WriteProjectPasswords(QSettings& settings, const QHash<QString, QString>& passwords) {
    settings.remove(kPasswords);
    settings.beginWriteArray(kPasswords);
    int index = 0;
    for (auto it = passwords.cbegin(); it != passwords.cend(); ++it) {
        if (it.key().isEmpty() || it.value().isEmpty()) {
            continue;
        }
        settings.setArrayIndex(index++);
        settings.setValue(QStringLiteral("key"), it.key());
        settings.setValue(QStringLiteral("password"), it.value());
    }
    settings.endArray();
}

void WriteServers(QSettings& settings, const std::vector<ServerEntry>& servers) {
    const int count = static_cast<int>(servers.size());
    settings.setValue(kDomainCount, count);
    for (int i = 0; i < count; ++i) {
        settings.setValue(DomainKey(i) + QStringLiteral("_name"),
                          servers[static_cast<std::size_t>(i)].name);
        settings.setValue(DomainKey(i) + QStringLiteral("_url"),
                          servers[static_cast<std::size_t>(i)].url);
    }
    for (int i = count; i <= kLastCleanedServerIndex; ++i) {
        settings.remove(DomainKey(i));
        settings.remove(DomainKey(i) + QStringLiteral("_name"));
        settings.remove(DomainKey(i) + QStringLiteral("_url"));
    }
}

}  // namespace

bool SettingsFileReadable(const QString& settingsPath) {
    if (!QFileInfo::exists(settingsPath)) {
        return true;
    }
    QFile file(settingsPath);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    if (file.readAll().contains('\0')) {
        return false;
    }
    file.close();
    const QSettings settings(settingsPath, QSettings::IniFormat);
    return settings.status() == QSettings::NoError;
}

QString MoveSettingsFileAside(const QString& settingsPath, QString& error) {
    const QString aside = settingsPath + QStringLiteral(".unreadable-") +
                          QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QFile file(settingsPath);
    if (!file.rename(aside)) {
        error = file.errorString();
        return {};
    }
    return aside;
}

QString NormalizeLanguageSetting(const QString& stored) {
    const QString code = stored.trimmed().toLower().left(2);
    return code.isEmpty() ? QStringLiteral("en") : code;
}

QString CurrentLanguageSetting(const QString& settingsPath) {
    const QSettings settings(settingsPath, QSettings::IniFormat);
    return NormalizeLanguageSetting(settings.value(kLanguage, QStringLiteral("en")).toString());
}

QString NormalizeStoredServerUrl(const QString& url, bool allowPlainHttp) {
    std::wstring canonical;
    std::wstring error;
    if (NormalizeServerUrl(url.trimmed().toStdWString(), allowPlainHttp, canonical, error)) {
        return QString::fromStdWString(canonical);
    }
    return url.trimmed();
}

QString DerivedServerName(const QString& url) {
    CrackedUrl cracked;
    bool unknownScheme = false;
    if (!CrackUrl(url.toStdWString(), cracked, unknownScheme) || cracked.host.empty()) {
        return url;
    }
    const QString host = QString::fromStdWString(cracked.host);
    const bool defaultPort = (cracked.scheme == kSchemeHttp && cracked.port == 80) ||
                             (cracked.scheme == kSchemeHttps && cracked.port == 443) ||
                             cracked.port == 0;
    return defaultPort ? host : QStringLiteral("%1:%2").arg(host).arg(cracked.port);
}

bool ReadSettingsFile(const QString& settingsPath, SettingsRecord& record,
                      const SettingsLoadHooks& hooks) {
    QSettings settings(settingsPath, QSettings::IniFormat);
    record.language =
        NormalizeLanguageSetting(settings.value(kLanguage, QStringLiteral("en")).toString());
    record.httpLockEnabled = settings.value(kHttpLock, true).toBool();
    ReadServers(settings, record);
    ReadSelectedDomains(settings, record);

    record.targetPath = QDir::toNativeSeparators(TrimmedString(settings, kTargetPath));
    if (record.targetPath.isEmpty() && hooks.discoverGameFolder) {
        record.targetPath = QDir::toNativeSeparators(hooks.discoverGameFolder());
    }
    record.targetValidationEnabled = settings.value(kTargetValidation, true).toBool();
    record.downloadBytesPerSecond = ReadRate(settings, kDownloadBps);
    record.downloadFilesPerSecond = ReadRate(settings, kDownloadFps);
    record.compareFilesPerSecond = ReadRate(settings, kCompareFps);

    record.autostartMode = AutostartModeFromString(
        settings.value(kAutostartMode, QStringLiteral("tray")).toString().toStdString());
    if (hooks.registeredModeOr) {
        record.autostartMode = hooks.registeredModeOr(record.autostartMode);
    }
    record.downloadLimitEnabled = settings.value(kDownloadLimitEnabled, false).toBool();
    record.downloadLimitMBps = DownloadLimitOf(settings.value(kDownloadLimitMBps));
    record.syncWhileGameRunning = settings.value(kSyncWhileGameRunning, false).toBool();
    record.autoSyncEnabled = settings.value(kAutoSyncEnabled, false).toBool();
    const QString pause = settings.value(kAutoSyncPausedUntil).toString();
    record.autoSyncPausedUntilResumed = pause == kUntilResumed;
    record.autoSyncPausedUntil = QDateTime::fromString(pause, Qt::ISODate).toUTC();
    const bool autoSyncSwitchedOff =
        record.autoSyncEnabled && hooks.isTargetUsable &&
        !hooks.isTargetUsable(record.targetPath, record.targetValidationEnabled);
    if (autoSyncSwitchedOff) {
        record.autoSyncEnabled = false;
    }
    record.selectedProjects = settings.value(kSelectedProjects).toStringList();
    record.autoSyncProjects = settings.value(kAutoSyncProjects).toStringList();
    ReadProjectPasswords(settings, record);
    return autoSyncSwitchedOff;
}

std::map<QString, quint64> ReadAutoSyncRevisions(QSettings& settings) {
    std::map<QString, quint64> revisions;
    const int size = settings.beginReadArray(kRevisions);
    for (int i = 0; i < size; ++i) {
        settings.setArrayIndex(i);
        const QString domain =
            settings.value(QStringLiteral("domain")).toString().trimmed().toLower();
        if (domain.isEmpty()) {
            continue;
        }
        revisions[domain] = settings.value(QStringLiteral("revision"), 0).toULongLong();
    }
    settings.endArray();
    return revisions;
}

void WriteAutoSyncRevisions(QSettings& settings, const std::map<QString, quint64>& revisions) {
    settings.remove(kRevisions);
    settings.beginWriteArray(kRevisions, static_cast<int>(revisions.size()));
    int index = 0;
    for (const auto& [domain, revision] : revisions) {
        settings.setArrayIndex(index++);
        settings.setValue(QStringLiteral("domain"), domain);
        settings.setValue(QStringLiteral("revision"), revision);
    }
    settings.endArray();
}

void WriteSettingsFile(const QString& settingsPath, const SettingsRecord& record,
                       const std::map<QString, quint64>& revisions) {
    QSettings settings(settingsPath, QSettings::IniFormat);
    settings.setValue(kSelectedDomains, record.selectedDomains.join(QLatin1Char('|')));
    settings.setValue(
        kLastDomain, record.selectedDomains.isEmpty() ? QString() : record.selectedDomains.front());
    settings.setValue(kTargetPath, QDir::toNativeSeparators(record.targetPath.trimmed()));
    settings.setValue(kTargetValidation, record.targetValidationEnabled);
    settings.setValue(kDownloadBps, record.downloadBytesPerSecond);
    settings.setValue(kDownloadFps, record.downloadFilesPerSecond);
    settings.setValue(kCompareFps, record.compareFilesPerSecond);
    settings.setValue(kAutoSyncEnabled, record.autoSyncEnabled);
    if (record.autoSyncPausedUntilResumed) {
        settings.setValue(kAutoSyncPausedUntil, kUntilResumed);
    } else if (record.autoSyncPausedUntil.isValid()) {
        settings.setValue(kAutoSyncPausedUntil,
                          record.autoSyncPausedUntil.toUTC().toString(Qt::ISODate));
    } else {
        settings.remove(kAutoSyncPausedUntil);
    }
    settings.setValue(kDownloadLimitEnabled, record.downloadLimitEnabled);
    settings.setValue(kDownloadLimitMBps, record.downloadLimitMBps);
    settings.setValue(kSyncWhileGameRunning, record.syncWhileGameRunning);
    settings.setValue(kHttpLock, record.httpLockEnabled);
    settings.setValue(kAutostartMode,
                      QString::fromStdString(AutostartModeToString(record.autostartMode)));
    settings.setValue(kLanguage, record.language);
    settings.setValue(kSelectedProjects, record.selectedProjects);
    settings.setValue(kAutoSyncProjects, record.autoSyncProjects);
    WriteProjectPasswords(settings, record.projectPasswords);
    WriteServers(settings, record.servers);
    WriteAutoSyncRevisions(settings, revisions);
    settings.sync();
}

void WriteAutoSyncRevisionsFile(const QString& settingsPath,
                                const std::map<QString, quint64>& revisions) {
    QSettings settings(settingsPath, QSettings::IniFormat);
    WriteAutoSyncRevisions(settings, revisions);
    settings.sync();
}

}  // namespace tavrin
