// Test helpers for file times by path (SetFileTime and GetFileAttributesExW).
#include <windows.h>

#include <cmath>
#include <filesystem>

#include "i18n/utf8_conversion.h"
#include "tests/support/file_time.h"

namespace tavrin::test {
namespace {
constexpr std::uint64_t kUnixEpochIn100ns = 116444736000000000ULL;
}  // namespace

void SetLocalFileTime(std::wstring_view path, double serverTime) {
    const HANDLE file = CreateFileW(std::wstring(path).c_str(), FILE_WRITE_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return;
    }
    const double seconds = serverTime > 0.0 ? serverTime : 0.0;
    const std::uint64_t ticks =
        static_cast<std::uint64_t>(seconds * 10000000.0) + kUnixEpochIn100ns;
    FILETIME written{};
    written.dwLowDateTime = static_cast<DWORD>(ticks & 0xFFFFFFFFULL);
    written.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    SetFileTime(file, nullptr, nullptr, &written);
    CloseHandle(file);
}

bool ReadLocalFileTime(std::wstring_view path, double& seconds) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(std::wstring(path).c_str(), GetFileExInfoStandard, &data)) {
        return false;
    }
    const std::uint64_t ticks =
        (static_cast<std::uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) |
        data.ftLastWriteTime.dwLowDateTime;
    seconds = (static_cast<double>(ticks) - static_cast<double>(kUnixEpochIn100ns)) / 1e7;
    return true;
}

}  // namespace tavrin::test
