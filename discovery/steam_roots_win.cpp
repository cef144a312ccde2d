// Windows side of the Steam roots: Steam's registry values, then the usual install folders.
#include <windows.h>

#include <vector>

#include "discovery/registry_win.h"
#include "discovery/steam_discovery.h"

namespace tavrin {
namespace {

// "SteamExe" names the client's program: its folder is the root.
std::wstring FolderOfProgram(std::wstring value) {
    if (value.size() >= 4 &&
        CompareStringOrdinal(value.c_str() + value.size() - 4, 4, L".exe", 4, TRUE) == CSTR_EQUAL) {
        const std::size_t separator = value.find_last_of(L"/\\");
        value = separator == std::wstring::npos ? std::wstring() : value.substr(0, separator);
    }
    return value;
}

}  // namespace

std::optional<std::wstring> ReadRegistryString(HKEY root, const wchar_t* subKey,
                                               const wchar_t* valueName) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, subKey, 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    DWORD type = 0;
    DWORD size = 0;
    std::optional<std::wstring> value;
    if (RegQueryValueExW(key, valueName, nullptr, &type, nullptr, &size) == ERROR_SUCCESS &&
        (type == REG_SZ || type == REG_EXPAND_SZ) && size > 0) {
        std::vector<wchar_t> buffer(size / sizeof(wchar_t) + 1, L'\0');
        if (RegQueryValueExW(key, valueName, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()),
                             &size) == ERROR_SUCCESS) {
            value = std::wstring(buffer.data());
        }
    }
    RegCloseKey(key);
    return value;
}

std::vector<std::wstring> SteamRoots() {
    std::vector<std::wstring> roots;
    const auto add = [&roots](std::optional<std::wstring> value) {
        if (value) {
            AddUnique(roots, FolderOfProgram(*value));
        }
    };
    add(ReadRegistryString(HKEY_CURRENT_USER, L"Software\\Valve\\Steam", L"SteamPath"));
    add(ReadRegistryString(HKEY_CURRENT_USER, L"Software\\Valve\\Steam", L"SteamExe"));
    add(ReadRegistryString(HKEY_LOCAL_MACHINE, L"SOFTWARE\\WOW6432Node\\Valve\\Steam",
                           L"InstallPath"));
    add(ReadRegistryString(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Valve\\Steam", L"InstallPath"));
    AddUnique(roots, L"C:\\Program Files (x86)\\Steam");
    AddUnique(roots, L"C:\\Program Files\\Steam");
    return roots;
}

}  // namespace tavrin
