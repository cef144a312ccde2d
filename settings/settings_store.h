#pragma once

#include <QSettings>
#include <QString>
#include <functional>
#include <map>

#include "settings/settings_record.h"

namespace tavrin {

// Reading and writing "Tavrin.ini" through QSettings in INI format, opened afresh for every
// read and write. Keys of the "[General]" section are QSettings' top-level keys: a key
// "General/x" would land in a section "[%General]" instead.

// What loading needs from outside the file.
struct SettingsLoadHooks {
    // The game folder found through Steam, or empty; asked only when none is stored.
    std::function<QString()> discoverGameFolder;
    // The autostart mode the registered entry implies, or the given one when none is
    // registered for this executable.
    std::function<AutostartMode(AutostartMode)> registeredModeOr;
    // Whether a folder may be synced into (honouring the validation switch).
    std::function<bool(const QString&, bool)> isTargetUsable;
};

// Whether an existing settings file can be read as one: it opens, holds no NUL byte (what a
// crash or a full disk leaves behind) and QSettings finds no format error. A missing file is
// readable (it simply has no keys).
bool SettingsFileReadable(const QString& settingsPath);
// Moves an unreadable settings file aside to "<path>.unreadable-<yyyyMMdd-HHmmss>" and returns
// that name, or empty with `error` filled when it could not be moved.
QString MoveSettingsFileAside(const QString& settingsPath, QString& error);

// The download limit's range in MB/s; a stored value outside it is brought into it, one that
// is no number gives 10.
inline constexpr double kLeastDownloadLimitMBps = 0.1;
inline constexpr double kMostDownloadLimitMBps = 10000.0;

// "General/language": trimmed, lower-cased, cut to two characters; empty gives "en".
QString NormalizeLanguageSetting(const QString& stored);
QString CurrentLanguageSetting(const QString& settingsPath);

// A server URL as the settings keep it: normalised when the address rules accept it, else as
// typed (trimmed).
QString NormalizeStoredServerUrl(const QString& url, bool allowPlainHttp);
// The name a server without one is shown under: the host, and ":port" unless it is the
// scheme's default; the URL itself when it cannot be parsed.
QString DerivedServerName(const QString& url);

// Fills `record` from the file in the documented order, except the auto-sync revisions.
// True when auto-sync was on in the file and had to be switched off for an unusable folder.
bool ReadSettingsFile(const QString& settingsPath, SettingsRecord& record,
                      const SettingsLoadHooks& hooks);

// The "AutoSyncRevisions" array: domains trimmed and lower-cased, empty ones skipped, a later
// element winning over an earlier one of the same domain.
std::map<QString, quint64> ReadAutoSyncRevisions(QSettings& settings);
// Replaces the array with `revisions`, in ascending domain order.
void WriteAutoSyncRevisions(QSettings& settings, const std::map<QString, quint64>& revisions);

// The full save: every setting, stale server entries up to index 127 removed, the revisions,
// then one sync().
void WriteSettingsFile(const QString& settingsPath, const SettingsRecord& record,
                       const std::map<QString, quint64>& revisions);
// The light save of the revisions alone.
void WriteAutoSyncRevisionsFile(const QString& settingsPath,
                                const std::map<QString, quint64>& revisions);

}  // namespace tavrin
