// Linux side of the Steam roots: the folders Steam uses under the home folder, natively and
// as a Flatpak. Links (~/.steam/steam usually points elsewhere) are resolved so one
// installation is searched once.
#include <cstdlib>
#include <filesystem>

#include "discovery/steam_discovery.h"
#include "i18n/utf8_conversion.h"

namespace tavrin {

std::vector<std::wstring> SteamRoots() {
    std::vector<std::wstring> roots;
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home != '/') {
        return roots;
    }
    const std::filesystem::path base(home);
    for (const std::filesystem::path& candidate :
         {base / ".steam" / "steam", base / ".steam" / "root", base / ".local" / "share" / "Steam",
          base / ".var" / "app" / "com.valvesoftware.Steam" / ".local" / "share" / "Steam"}) {
        std::error_code ec;
        const std::filesystem::path resolved = std::filesystem::canonical(candidate, ec);
        AddUnique(roots, PathToWide(ec ? candidate : resolved));
    }
    return roots;
}

}  // namespace tavrin
