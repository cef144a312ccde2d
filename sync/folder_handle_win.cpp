// Windows side of folder-relative file operations: NtCreateFile with the held folder as the
// root directory and FILE_OPEN_REPARSE_POINT, so a name is looked up in that folder alone and
// a reparse point there is opened itself, never followed; reparse points are checked on the
// handle. Folders are held without FILE_SHARE_DELETE: while the run has one open, nobody can
// rename it, delete it or put a junction in its place.
#include <windows.h>
// Windows headers below need <windows.h> first.
#include <winternl.h>

#include <string>
#include <vector>

#include "i18n/utf8_conversion.h"
#include "sync/folder_handle.h"

namespace tavrin {
namespace {

constexpr ULONG kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr ULONG kFolderShare = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr ACCESS_MASK kFolderAccess =
    FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
constexpr std::uint64_t kUnixEpochIn100ns = 116444736000000000ULL;
// Windows 10 1607 and later; mingw declares it only for a later _WIN32_WINNT.
constexpr auto kFileDispositionInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);

HANDLE AsHandle(const NativeHandle& handle) {
    return reinterpret_cast<HANDLE>(handle.Get());
}

// Win32 drops trailing dots and spaces from a name, the NT calls do not: a file listed as
// "data.ini." must become "data.ini", as every path check assumed, not a name that Explorer
// and the game cannot open. Empty when nothing is left.
std::wstring NtName(std::string_view name) {
    std::wstring wide = Utf8ToWide(name);
    while (!wide.empty() && (wide.back() == L'.' || wide.back() == L' ')) {
        wide.pop_back();
    }
    return wide;
}

// NtCreateFile on one name inside `folder`, as CreateFileW would open it, with the Win32
// error code on failure.
bool OpenRelative(const NativeHandle& folder, std::string_view name, ACCESS_MASK access,
                  ULONG share, ULONG disposition, ULONG options, NativeHandle& opened,
                  std::uint32_t& errorCode) {
    std::wstring wide = NtName(name);
    if (wide.empty()) {
        errorCode = ERROR_INVALID_NAME;
        return false;
    }
    UNICODE_STRING text{};
    text.Buffer = wide.data();
    text.Length = static_cast<USHORT>(wide.size() * sizeof(wchar_t));
    text.MaximumLength = text.Length;
    OBJECT_ATTRIBUTES attributes{};
    InitializeObjectAttributes(&attributes, &text, OBJ_CASE_INSENSITIVE, AsHandle(folder), nullptr);
    IO_STATUS_BLOCK status{};
    HANDLE handle = INVALID_HANDLE_VALUE;
    const NTSTATUS result = NtCreateFile(
        &handle, access, &attributes, &status, nullptr, FILE_ATTRIBUTE_NORMAL, share, disposition,
        options | FILE_OPEN_REPARSE_POINT | FILE_SYNCHRONOUS_IO_NONALERT, nullptr, 0);
    if (!NT_SUCCESS(result)) {
        errorCode = RtlNtStatusToDosError(result);
        return false;
    }
    opened = NativeHandle(reinterpret_cast<std::intptr_t>(handle));
    return true;
}

bool IsReparsePointHandle(HANDLE handle, bool& isFolder) {
    FILE_ATTRIBUTE_TAG_INFO info{};
    if (!GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &info, sizeof info)) {
        return true;  // unreadable attributes are not trusted
    }
    isFolder = (info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return (info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool IsAbsence(std::uint32_t code) {
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ||
           code == ERROR_BAD_NETPATH || code == ERROR_NETNAME_DELETED ||
           code == ERROR_INVALID_NAME || code == ERROR_DIRECTORY;
}

FolderOpenResult CheckFolder(NativeHandle& opened, NativeHandle& folder) {
    bool isFolder = false;
    if (IsReparsePointHandle(AsHandle(opened), isFolder)) {
        return {FolderOutcome::kLink, 0};
    }
    if (!isFolder) {
        return {FolderOutcome::kNotAFolder, 0};
    }
    folder = std::move(opened);
    return {FolderOutcome::kOpened, 0};
}

}  // namespace

void NativeHandle::Close() {
    if (value_ != kClosed) {
        CloseHandle(reinterpret_cast<HANDLE>(value_));
        value_ = kClosed;
    }
}

FolderOpenResult OpenTopFolder(std::wstring_view path, NativeHandle& folder) {
    const HANDLE handle =
        CreateFileW(std::wstring(path).c_str(), kFolderAccess, kFolderShare, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD code = GetLastError();
        return {IsAbsence(code) ? FolderOutcome::kAbsent : FolderOutcome::kFailed, code};
    }
    NativeHandle opened(reinterpret_cast<std::intptr_t>(handle));
    return CheckFolder(opened, folder);
}

FolderOpenResult OpenChildFolder(const NativeHandle& parent, std::string_view name, bool create,
                                 NativeHandle& folder) {
    NativeHandle opened;
    std::uint32_t code = 0;
    // No FILE_DIRECTORY_FILE: a file of that name must be told apart, not refused blindly.
    if (!OpenRelative(parent, name, kFolderAccess, kFolderShare, create ? FILE_OPEN_IF : FILE_OPEN,
                      create ? FILE_DIRECTORY_FILE : FILE_OPEN_FOR_BACKUP_INTENT, opened, code)) {
        if (code == ERROR_DIRECTORY) {
            return {FolderOutcome::kNotAFolder, 0};
        }
        return {IsAbsence(code) ? FolderOutcome::kAbsent : FolderOutcome::kFailed, code};
    }
    return CheckFolder(opened, folder);
}

EntryStatus ReadEntryStatus(const NativeHandle& folder, std::string_view name) {
    NativeHandle entry;
    std::uint32_t code = 0;
    if (!OpenRelative(folder, name, FILE_READ_ATTRIBUTES | SYNCHRONIZE, kShareAll, FILE_OPEN,
                      FILE_OPEN_FOR_BACKUP_INTENT, entry, code)) {
        if (IsAbsence(code)) {
            return {PathKind::kAbsent, 0, 0};
        }
        return {PathKind::kUnreadable, 0, code};
    }
    FILE_ATTRIBUTE_TAG_INFO tag{};
    FILE_STANDARD_INFO standard{};
    if (!GetFileInformationByHandleEx(AsHandle(entry), FileAttributeTagInfo, &tag, sizeof tag) ||
        !GetFileInformationByHandleEx(AsHandle(entry), FileStandardInfo, &standard,
                                      sizeof standard)) {
        return {PathKind::kUnreadable, 0, static_cast<std::uint32_t>(GetLastError())};
    }
    if ((tag.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return {PathKind::kLink, 0, 0};
    }
    if ((tag.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return {PathKind::kDirectory, 0, 0};
    }
    return {PathKind::kFile, static_cast<std::uint64_t>(standard.EndOfFile.QuadPart), 0};
}

bool OpenFileForReading(const NativeHandle& folder, std::string_view name, NativeHandle& file,
                        std::uint32_t& errorCode) {
    if (!OpenRelative(folder, name, GENERIC_READ | SYNCHRONIZE, kShareAll, FILE_OPEN,
                      FILE_NON_DIRECTORY_FILE | FILE_SEQUENTIAL_ONLY, file, errorCode)) {
        return false;
    }
    bool isFolder = false;
    if (IsReparsePointHandle(AsHandle(file), isFolder)) {
        file.Close();
        errorCode = ERROR_CANT_ACCESS_FILE;
        return false;
    }
    return true;
}

bool CreateNewFile(const NativeHandle& folder, std::string_view name, NativeHandle& file,
                   std::uint32_t& errorCode) {
    return OpenRelative(folder, name, GENERIC_WRITE | DELETE | SYNCHRONIZE, kShareAll, FILE_CREATE,
                        FILE_NON_DIRECTORY_FILE, file, errorCode);
}

void DeleteFileAt(const NativeHandle& folder, std::string_view name) {
    NativeHandle file;
    std::uint32_t code = 0;
    if (OpenRelative(folder, name, DELETE | SYNCHRONIZE, kShareAll, FILE_OPEN,
                     FILE_NON_DIRECTORY_FILE, file, code)) {
        // POSIX semantics free the name at once, even while a scanner still has the file
        // open, so the next attempt can create it again; older Windows lack them.
        FILE_DISPOSITION_INFO_EX posix{};
        posix.Flags = FILE_DISPOSITION_FLAG_DELETE | FILE_DISPOSITION_FLAG_POSIX_SEMANTICS;
        if (!SetFileInformationByHandle(AsHandle(file), kFileDispositionInfoEx, &posix,
                                        sizeof posix)) {
            FILE_DISPOSITION_INFO disposition{};
            disposition.DeleteFile = TRUE;
            SetFileInformationByHandle(AsHandle(file), FileDispositionInfo, &disposition,
                                       sizeof disposition);
        }
    }
}

bool ReplaceFileAt(const NativeHandle& folder, std::string_view from, std::string_view to,
                   std::uint32_t& errorCode) {
    NativeHandle file;
    if (!OpenRelative(folder, from, DELETE | SYNCHRONIZE, kShareAll, FILE_OPEN,
                      FILE_NON_DIRECTORY_FILE, file, errorCode)) {
        return false;
    }
    // NtSetInformationFile itself: the Win32 wrapper may turn a name into a full path, while
    // here the name must stay relative to the held folder.
    const std::wstring target = NtName(to);
    if (target.empty()) {
        errorCode = ERROR_INVALID_NAME;
        return false;
    }
    std::vector<unsigned char> buffer(sizeof(FILE_RENAME_INFORMATION) +
                                      target.size() * sizeof(wchar_t));
    auto* rename = reinterpret_cast<FILE_RENAME_INFORMATION*>(buffer.data());
    rename->ReplaceIfExists = TRUE;
    rename->RootDirectory = AsHandle(folder);
    rename->FileNameLength = static_cast<ULONG>(target.size() * sizeof(wchar_t));
    target.copy(rename->FileName, target.size());
    IO_STATUS_BLOCK status{};
    const NTSTATUS result = NtSetInformationFile(
        AsHandle(file), &status, rename, static_cast<ULONG>(buffer.size()), FileRenameInformation);
    if (!NT_SUCCESS(result)) {
        errorCode = RtlNtStatusToDosError(result);
        return false;
    }
    return true;
}

void SetFileTimeAt(const NativeHandle& folder, std::string_view name, double serverTime) {
    NativeHandle file;
    std::uint32_t code = 0;
    if (!OpenRelative(folder, name, FILE_WRITE_ATTRIBUTES | SYNCHRONIZE, kShareAll, FILE_OPEN,
                      FILE_NON_DIRECTORY_FILE, file, code)) {
        return;
    }
    const double seconds = serverTime > 0.0 ? serverTime : 0.0;
    const std::uint64_t ticks =
        static_cast<std::uint64_t>(seconds * 10000000.0) + kUnixEpochIn100ns;
    FILETIME written{};
    written.dwLowDateTime = static_cast<DWORD>(ticks & 0xFFFFFFFFULL);
    written.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    SetFileTime(AsHandle(file), nullptr, nullptr, &written);
}

const bool kOpenFoldersHoldTheirParents = true;

std::size_t MostOpenFolders() {
    // Windows has no small per-process handle limit; the bound keeps memory and the folders
    // the run locks against renames modest.
    return 512;
}

}  // namespace tavrin
