#include "desktop/settings_hooks.h"

#include <QFileInfo>

#include "desktop/autostart.h"
#include "discovery/steam_discovery.h"
#include "sync/path_safety.h"

namespace tavrin {

bool FolderIsAbsent(const QString& folder) {
    return !folder.trimmed().isEmpty() && !QFileInfo::exists(folder.trimmed());
}

SettingsLoadHooks DesktopSettingsHooks() {
    SettingsLoadHooks hooks;
    hooks.discoverGameFolder = [] {
        const auto found = FindGameFolderViaSteam();
        return found ? QString::fromStdWString(*found) : QString();
    };
    hooks.registeredModeOr = [](AutostartMode fallback) { return RegisteredModeOr(fallback); };
    hooks.isTargetUsable = [](const QString& folder, bool validation) {
        return FolderIsAbsent(folder) || IsUsableTargetFolder(folder.toStdWString(), validation);
    };
    return hooks;
}

}  // namespace tavrin
