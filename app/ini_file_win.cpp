// Windows side of the single-value INI access: the profile-string functions.
#include <windows.h>

#include <vector>

#include "app/ini_file.h"

namespace tavrin {

std::wstring ReadIniValue(const std::filesystem::path& file, std::wstring_view section,
                          std::wstring_view key) {
    std::vector<wchar_t> buffer(256);
    const DWORD length =
        GetPrivateProfileStringW(std::wstring(section).c_str(), std::wstring(key).c_str(), L"",
                                 buffer.data(), static_cast<DWORD>(buffer.size()), file.c_str());
    return std::wstring(buffer.data(), length);
}

bool WriteIniValue(const std::filesystem::path& file, std::wstring_view section,
                   std::wstring_view key, std::wstring_view value) {
    return WritePrivateProfileStringW(std::wstring(section).c_str(), std::wstring(key).c_str(),
                                      std::wstring(value).c_str(), file.c_str()) != 0;
}

}  // namespace tavrin
