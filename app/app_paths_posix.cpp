// Linux side of the data folders: /proc/self/exe, the XDG data folder and a plain copy.
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "app/app_paths.h"

namespace tavrin {
namespace {

std::filesystem::path HomeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
        return home;
    }
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr && found->pw_dir != nullptr) {
        return found->pw_dir;
    }
    return {};
}

}  // namespace

std::filesystem::path LocalAppDataDirectory() {
    // The XDG rules ignore a relative XDG_DATA_HOME.
    if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data == '/') {
        return data;
    }
    const std::filesystem::path home = HomeDirectory();
    return home.empty() ? home : home / ".local" / "share";
}

DataLocations SystemDataLocations() {
    DataLocations locations{LocalAppDataDirectory(), ExecutableDirectory(), {}};
    if (const char* value = std::getenv("TAVRIN_DATA_DIR"); value != nullptr && *value != 0) {
        locations.dataDirectoryOverride = value;
    }
    return locations;
}

bool CopyFileReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::error_code ec;
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, ec);
    return !ec;
}

}  // namespace tavrin
