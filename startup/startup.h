#pragma once

#include <QIcon>
#include <QStringList>

namespace tavrin {

// The program's start: application object, identity, font and icon, the user's language,
// the single-instance check, the main window (shown, or hidden in the tray), the event loop.
// Returns the process exit code: 1 when the instance check could not be made, 0 when another
// instance was woken instead.
int RunTavrin(int argc, char** argv);

// The icon of the program: "favicon.ico" beside the executable, else the resource
// ":/assets/app.ico", else the executable's own icon, else an empty icon.
QIcon ApplicationIcon();

// Whether the arguments ask for a start hidden in the tray ("--start-in-tray" or its alias
// "--minimized-to-tray", matched exactly).
bool WantsHiddenStart(const QStringList& arguments);

// Look-alike fonts for "Segoe UI" and "Consolas" where the system lacks them.
void InstallFontSubstitutes();

}  // namespace tavrin
