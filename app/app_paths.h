#pragma once

#include <filesystem>

#include "base/executable_directory.h"

namespace tavrin {

// The folders the program keeps its data in. Paths that cannot be had are empty.

// The per-user local data folder: LocalAppData on Windows; $XDG_DATA_HOME, else
// ~/.local/share, on Linux.
std::filesystem::path LocalAppDataDirectory();

// The program's data folder, created if missing: "<LocalAppData>/Tavrin", or the folder named
// by TAVRIN_DATA_DIR when that is set (portable installs, tests, the demo). Falls back to the
// executable's folder when neither can be had or created.
std::filesystem::path AppDataDirectory();

// "Tavrin.ini" in the data folder. A first start copies the settings file of an older
// location into place once ("<LocalAppData>/Ostmere/Tavrin/Tavrin.ini", then "Tavrin.ini"
// beside the executable); the old file stays. A missing file means default settings.
std::filesystem::path SettingsFilePath();

// The same rules over given locations, so they can be followed without the real folders.
struct DataLocations {
    std::filesystem::path localAppData;
    std::filesystem::path executableDirectory;
    std::filesystem::path dataDirectoryOverride;  // TAVRIN_DATA_DIR; replaces the user folder
};
DataLocations SystemDataLocations();
std::filesystem::path AppDataDirectoryFor(const DataLocations& locations);
std::filesystem::path SettingsFilePathFor(const DataLocations& locations);

// Copies a file over an existing one (CopyFileW on Windows). False when the copy failed.
bool CopyFileReplacing(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace tavrin
