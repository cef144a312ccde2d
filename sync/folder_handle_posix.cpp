// Linux side of folder-relative file operations: openat with O_NOFOLLOW one element at a time,
// fstatat, renameat, unlinkat and utimensat on the folder's descriptor.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <string>

#include "i18n/utf8_conversion.h"
#include "sync/folder_handle.h"

namespace tavrin {
namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

int Descriptor(const NativeHandle& handle) {
    return static_cast<int>(handle.Get());
}

// Why opening a folder element failed: a link and a file both refuse O_DIRECTORY|O_NOFOLLOW,
// so the entry itself tells them apart.
FolderOpenResult Classify(int parent, const std::string& name, int code) {
    if (code == ENOENT) {
        return {FolderOutcome::kAbsent, 0};
    }
    if (code == ELOOP || code == ENOTDIR) {
        struct stat info {};
        if (::fstatat(parent, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
            return {S_ISLNK(info.st_mode) ? FolderOutcome::kLink : FolderOutcome::kNotAFolder, 0};
        }
    }
    return {FolderOutcome::kFailed, static_cast<std::uint32_t>(code)};
}

FolderOpenResult Opened(int descriptor, NativeHandle& folder) {
    folder = NativeHandle(descriptor);
    return {FolderOutcome::kOpened, 0};
}

}  // namespace

void NativeHandle::Close() {
    if (value_ != kClosed) {
        ::close(static_cast<int>(value_));
        value_ = kClosed;
    }
}

FolderOpenResult OpenTopFolder(std::wstring_view path, NativeHandle& folder) {
    std::string text = WideToUtf8(path);
    // "link/" would make open(2) follow the link despite O_NOFOLLOW.
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    const int descriptor = ::open(text.c_str(), kFolderFlags);
    if (descriptor >= 0) {
        return Opened(descriptor, folder);
    }
    return Classify(AT_FDCWD, text, errno);
}

FolderOpenResult OpenChildFolder(const NativeHandle& parent, std::string_view name, bool create,
                                 NativeHandle& folder) {
    const std::string element(name);
    int descriptor = ::openat(Descriptor(parent), element.c_str(), kFolderFlags);
    if (descriptor < 0 && errno == ENOENT && create) {
        // Another thread may make it first; whatever stands there then is opened and checked.
        if (::mkdirat(Descriptor(parent), element.c_str(), 0755) != 0 && errno != EEXIST) {
            return {FolderOutcome::kFailed, static_cast<std::uint32_t>(errno)};
        }
        descriptor = ::openat(Descriptor(parent), element.c_str(), kFolderFlags);
    }
    if (descriptor >= 0) {
        return Opened(descriptor, folder);
    }
    return Classify(Descriptor(parent), element, errno);
}

EntryStatus ReadEntryStatus(const NativeHandle& folder, std::string_view name) {
    struct stat info {};
    if (::fstatat(Descriptor(folder), std::string(name).c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        const int code = errno;
        if (code == ENOENT || code == ENOTDIR || code == ENAMETOOLONG) {
            return {PathKind::kAbsent, 0, 0};
        }
        return {PathKind::kUnreadable, 0, static_cast<std::uint32_t>(code)};
    }
    if (S_ISLNK(info.st_mode)) {
        return {PathKind::kLink, 0, 0};
    }
    if (S_ISDIR(info.st_mode)) {
        return {PathKind::kDirectory, 0, 0};
    }
    if (!S_ISREG(info.st_mode)) {
        return {PathKind::kOther, 0, 0};
    }
    return {PathKind::kFile, static_cast<std::uint64_t>(info.st_size), 0};
}

bool OpenFileForReading(const NativeHandle& folder, std::string_view name, NativeHandle& file,
                        std::uint32_t& errorCode) {
    // O_NONBLOCK: a FIFO planted under a listed name must not hang the comparison.
    const int descriptor = ::openat(Descriptor(folder), std::string(name).c_str(),
                                    O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        errorCode = static_cast<std::uint32_t>(errno);
        return false;
    }
    file = NativeHandle(descriptor);
    struct stat info {};
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode)) {
        file.Close();
        errorCode = EINVAL;
        return false;
    }
    return true;
}

bool CreateNewFile(const NativeHandle& folder, std::string_view name, NativeHandle& file,
                   std::uint32_t& errorCode) {
    const int descriptor = ::openat(Descriptor(folder), std::string(name).c_str(),
                                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        errorCode = static_cast<std::uint32_t>(errno);
        return false;
    }
    file = NativeHandle(descriptor);
    return true;
}

void DeleteFileAt(const NativeHandle& folder, std::string_view name) {
    ::unlinkat(Descriptor(folder), std::string(name).c_str(), 0);
}

bool ReplaceFileAt(const NativeHandle& folder, std::string_view from, std::string_view to,
                   std::uint32_t& errorCode) {
    if (::renameat(Descriptor(folder), std::string(from).c_str(), Descriptor(folder),
                   std::string(to).c_str()) != 0) {
        errorCode = static_cast<std::uint32_t>(errno);
        return false;
    }
    return true;
}

void SetFileTimeAt(const NativeHandle& folder, std::string_view name, double serverTime) {
    const double seconds = serverTime > 0.0 ? serverTime : 0.0;
    const double whole = std::floor(seconds);
    struct timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(whole);
    times[1].tv_nsec = static_cast<long>(std::llround((seconds - whole) * 1e7)) * 100;
    if (times[1].tv_nsec >= 1000000000L) {
        times[1].tv_sec += 1;
        times[1].tv_nsec -= 1000000000L;
    }
    ::utimensat(Descriptor(folder), std::string(name).c_str(), times, AT_SYMLINK_NOFOLLOW);
}

const bool kOpenFoldersHoldTheirParents = false;

std::size_t MostOpenFolders() {
    struct rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return 512;
    }
    // A quarter of the descriptors, so that sockets, hashed files and temporary files of
    // every thread always find one.
    return std::clamp<std::size_t>(static_cast<std::size_t>(limit.rlim_cur) / 4, 16, 512);
}

}  // namespace tavrin
