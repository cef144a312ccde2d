// Windows side of the data folders: the executable's path, the LocalAppData known folder and
// CopyFileW.
#include <windows.h>
// Windows headers below need <windows.h> first.
#include <knownfolders.h>
#include <shlobj.h>

#include <cstdlib>
#include <vector>

#include "app/app_paths.h"

namespace tavrin {

std::filesystem::path LocalAppDataDirectory() {
    PWSTR folder = nullptr;
    std::filesystem::path path;
    if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &folder)) &&
        folder != nullptr) {
        path = folder;
    }
    CoTaskMemFree(folder);
    return path;
}

DataLocations SystemDataLocations() {
    DataLocations locations{LocalAppDataDirectory(), ExecutableDirectory(), {}};
    if (const wchar_t* value = _wgetenv(L"TAVRIN_DATA_DIR"); value != nullptr && *value != 0) {
        locations.dataDirectoryOverride = value;
    }
    return locations;
}

bool CopyFileReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
    return CopyFileW(from.c_str(), to.c_str(), FALSE) != 0;
}

}  // namespace tavrin
