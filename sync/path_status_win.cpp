// Windows side of path status: the reparse tags of FindFirstFileW tell symbolic links and
// junctions, GetFileAttributesW any reparse point, and names compare without regard to case.
#include <windows.h>

#include "sync/path_status.h"

namespace tavrin {

const wchar_t kPathSeparator = L'\\';
const std::size_t kMostPathUnits = 32767;  // the longest path Windows takes at all
const std::size_t kMostNameUnits = 255;    // NTFS's longest name

std::size_t NativeLength(std::wstring_view text) {
    return text.size();
}

PathStatus ReadPathStatus(std::wstring_view path) {
    const std::wstring text(path);
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(text.c_str(), GetFileExInfoStandard, &data)) {
        const DWORD code = GetLastError();
        if (code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ||
            code == ERROR_BAD_NETPATH || code == ERROR_NETNAME_DELETED ||
            code == ERROR_INVALID_NAME || code == ERROR_DIRECTORY) {
            return {PathKind::kAbsent, 0};
        }
        return {PathKind::kUnreadable, code};
    }
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        WIN32_FIND_DATAW find{};
        const HANDLE handle = FindFirstFileW(text.c_str(), &find);
        if (handle != INVALID_HANDLE_VALUE) {
            FindClose(handle);
            if (find.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
                find.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT) {
                return {PathKind::kLink, 0};
            }
        }
    }
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return {PathKind::kDirectory, 0};
    }
    return {PathKind::kFile, 0};
}

bool IsDirectoryFollowingLinks(std::wstring_view path) {
    const DWORD attributes = GetFileAttributesW(std::wstring(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsReparsePoint(std::wstring_view path, bool& isReparsePoint, std::uint32_t& errorCode) {
    const DWORD attributes = GetFileAttributesW(std::wstring(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        errorCode = GetLastError();
        return false;
    }
    isReparsePoint = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    return true;
}

bool SamePathText(std::wstring_view a, std::wstring_view b) {
    return a.size() == b.size() &&
           CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

std::wstring PathCaseKey(std::wstring_view path) {
    // "Data.ini." opens "data.ini": trailing dots and spaces are dropped, case is ignored.
    while (!path.empty() && (path.back() == L'.' || path.back() == L' ')) {
        path.remove_suffix(1);
    }
    std::wstring key(path);
    CharLowerBuffW(key.data(), static_cast<DWORD>(key.size()));
    return key;
}

}  // namespace tavrin
