#pragma once

#include <string>
#include <string_view>

namespace tavrin {

// Whether the game runs: a process whose executable lies inside the game folder (the game, its
// launcher, a tool started from there). On Windows from a process snapshot and each process's
// image path; on Linux from /proc/<pid>/exe, and for the game under Proton, whose process is
// Wine's, from a Windows-form path in /proc/<pid>/cmdline ("Z:\...") inside the game folder.
// Processes this user may not inspect are passed over.
bool IsGameRunning(std::wstring_view gameFolder);

// The Linux path of a Windows-form argument on Wine's drive for the root ("Z:\a\b" -> "/a/b"),
// or empty when the argument is no such path.
std::wstring LinuxPathOfDriveZ(std::string_view argument);

}  // namespace tavrin
