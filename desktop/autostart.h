#pragma once

#include <QString>

#include "app/autostart_command.h"

namespace tavrin {

// Starting the program at logon: the Run value "Tavrin" of the current user on Windows, the
// XDG autostart entry on Linux. The stored entry is the truth and is read whenever it matters.

AutostartState QueryAutostart();
bool IsAutostartRegistered();
AutostartMode RegisteredModeOr(AutostartMode fallback);

// Writes (enabled) or removes the entry, then reads it back. False with a translated text
// when the write failed or the entry read back is not what was asked for.
bool SetAutostart(bool enabled, AutostartMode mode, QString& errorText);

// The text keys that name where this platform keeps the entry (the Windows registry, or
// ~/.config/autostart).
struct AutostartTextKeys {
    const char* checkbox;
    const char* hint;
    const char* writeFailed;
    const char* verifyEnableFailed;
    const char* verifyDisableFailed;
};
const AutostartTextKeys& AutostartTexts();

// The stored entry itself: its command, empty when there is none.
QString ReadAutostartValue();
// False when the store reported an error.
bool WriteAutostartValue(const QString& command);
bool RemoveAutostartValue();

}  // namespace tavrin
