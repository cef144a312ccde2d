#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

// Finds the Assetto Corsa folder through Steam: the places Steam may be installed, the
// library folders its "libraryfolders.vdf" lists, and in each library the folder the game's
// app manifest (app 244210) names, then "assettocorsa". The first folder that passes
// IsGameFolder wins. Nothing is reported on the way: what cannot be read adds no candidate.
std::optional<std::wstring> FindGameFolderViaSteam();

// Where Steam may be installed, in the order they are tried, without duplicates. Windows: the
// registry's SteamPath, SteamExe (its folder), the two InstallPath values, then the two
// Program Files folders. Linux: ~/.steam/steam, ~/.steam/root, ~/.local/share/Steam and the
// Flatpak folder.
std::vector<std::wstring> SteamRoots();

// The same search over given roots.
std::optional<std::wstring> FindGameFolderInSteamRoots(const std::vector<std::wstring>& roots);

// Every root, then every "path" its steamapps/libraryfolders.vdf names, without duplicates.
std::vector<std::wstring> SteamLibraries(const std::vector<std::wstring>& roots);

// The double-quoted strings of a Valve data file, in order (no escapes: braces, keys and
// values alike are just quoted strings).
std::vector<std::string> ReadVdfTokens(std::wstring_view path);

// The string after the first token equal to `key` (ignoring ASCII case).
std::optional<std::string> ReadVdfValue(std::wstring_view path, std::string_view key);

// Adds `folder` unless it is empty or already listed (names compared as the platform does).
void AddUnique(std::vector<std::wstring>& folders, std::wstring folder);

}  // namespace tavrin
