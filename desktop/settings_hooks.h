#pragma once

#include "settings/settings_store.h"

namespace tavrin {

// A game folder that is not there at all (a drive not mounted, a folder moved away), as
// opposed to one that is there and fails the game check.
bool FolderIsAbsent(const QString& folder);

// What loading the settings asks of the desktop: the game folder Steam knows, the mode of the
// autostart entry as registered, and whether a folder may be synced into. A folder that is not
// there at all (a drive not mounted yet) counts as usable: auto-sync waits for it instead of
// being switched off.
SettingsLoadHooks DesktopSettingsHooks();

}  // namespace tavrin
