#include "app/app_paths.h"

#include <system_error>

namespace tavrin {
namespace {

// A file that cannot be looked at (no permission, a broken medium) counts as absent: the
// program then starts with defaults instead of failing.
bool FileExists(const std::filesystem::path& path) {
    std::error_code ec;
    return std::filesystem::exists(path, ec) && !ec;
}

bool CreateFolder(const std::filesystem::path& path) {
    std::error_code ec;
    std::filesystem::create_directories(path, ec);
    return !ec && std::filesystem::is_directory(path, ec);
}

}  // namespace

std::filesystem::path AppDataDirectoryFor(const DataLocations& locations) {
    if (!locations.dataDirectoryOverride.empty()) {
        return CreateFolder(locations.dataDirectoryOverride) ? locations.dataDirectoryOverride
                                                             : locations.executableDirectory;
    }
    if (locations.localAppData.empty()) {
        return locations.executableDirectory;
    }
    const std::filesystem::path folder = locations.localAppData / "Tavrin";
    return CreateFolder(folder) ? folder : locations.executableDirectory;
}

std::filesystem::path SettingsFilePathFor(const DataLocations& locations) {
    std::filesystem::path primary = AppDataDirectoryFor(locations) / "Tavrin.ini";
    if (FileExists(primary)) {
        return primary;
    }
    // A data folder given by TAVRIN_DATA_DIR stands alone: nothing is taken from the user's.
    if (locations.dataDirectoryOverride.empty() && !locations.localAppData.empty()) {
        const auto older = locations.localAppData / "Ostmere" / "Tavrin" / "Tavrin.ini";
        if (FileExists(older)) {
            CopyFileReplacing(older, primary);
        }
    }
    if (!FileExists(primary) && !locations.executableDirectory.empty()) {
        const auto besideProgram = locations.executableDirectory / "Tavrin.ini";
        if (FileExists(besideProgram)) {
            CopyFileReplacing(besideProgram, primary);
        }
    }
    return primary;
}

std::filesystem::path AppDataDirectory() {
    return AppDataDirectoryFor(SystemDataLocations());
}

std::filesystem::path SettingsFilePath() {
    return SettingsFilePathFor(SystemDataLocations());
}

}  // namespace tavrin
