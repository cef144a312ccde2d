// Test helper reading file times by path (SetFileTime and GetFileAttributesExW).
#include <windows.h>

#include <cmath>
#include <filesystem>

#include "i18n/utf8_conversion.h"
#include "tests/support/file_time.h"

namespace tavrin::test {
namespace {
constexpr std::uint64_t kUnixEpochIn100ns = 116444736000000000ULL;
}  // namespace

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
