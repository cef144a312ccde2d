// Linux side of path status: lstat, where a symbolic link anywhere is refused like a Windows
// reparse point, and names compared exactly as the file system does.
#include <sys/stat.h>

#include <cerrno>

#include "i18n/utf8_conversion.h"
#include "sync/path_status.h"

namespace tavrin {

const wchar_t kPathSeparator = L'/';
const std::size_t kMostPathUnits = 4095;  // PATH_MAX less its terminating NUL
const std::size_t kMostNameUnits = 255;   // NAME_MAX

std::size_t NativeLength(std::wstring_view text) {
    std::size_t bytes = 0;
    for (const wchar_t c : text) {
        bytes += c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
    }
    return bytes;
}

PathStatus ReadPathStatus(std::wstring_view path) {
    struct stat info {};
    if (::lstat(WideToUtf8(path).c_str(), &info) != 0) {
        const int code = errno;
        if (code == ENOENT || code == ENOTDIR || code == ENAMETOOLONG) {
            return {PathKind::kAbsent, 0};
        }
        return {PathKind::kUnreadable, static_cast<std::uint32_t>(code)};
    }
    if (S_ISLNK(info.st_mode)) {
        return {PathKind::kLink, 0};
    }
    if (S_ISDIR(info.st_mode)) {
        return {PathKind::kDirectory, 0};
    }
    return {S_ISREG(info.st_mode) ? PathKind::kFile : PathKind::kOther, 0};
}

bool IsDirectoryFollowingLinks(std::wstring_view path) {
    struct stat info {};
    return ::stat(WideToUtf8(path).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool IsReparsePoint(std::wstring_view path, bool& isReparsePoint, std::uint32_t& errorCode) {
    struct stat info {};
    if (::lstat(WideToUtf8(path).c_str(), &info) != 0) {
        errorCode = static_cast<std::uint32_t>(errno);
        return false;
    }
    isReparsePoint = S_ISLNK(info.st_mode);
    return true;
}

bool SamePathText(std::wstring_view a, std::wstring_view b) {
    return a == b;
}

std::wstring PathCaseKey(std::wstring_view path) {
    return std::wstring(path);
}

}  // namespace tavrin
