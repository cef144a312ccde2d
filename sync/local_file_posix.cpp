// Linux side of the engine's file operations: stat, utimensat, unlink, rename.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <filesystem>

#include "i18n/utf8_conversion.h"
#include "sync/local_file.h"

namespace tavrin {

bool ReadLocalFileSize(std::wstring_view path, std::uint64_t& size) {
    struct stat info {};
    if (::stat(WideToUtf8(path).c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return false;
    }
    size = static_cast<std::uint64_t>(info.st_size);
    return true;
}

void SetLocalFileTime(std::wstring_view path, double serverTime) {
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
    ::utimensat(AT_FDCWD, WideToUtf8(path).c_str(), times, AT_SYMLINK_NOFOLLOW);
}

bool ReadLocalFileTime(std::wstring_view path, double& seconds) {
    struct stat info {};
    if (::lstat(WideToUtf8(path).c_str(), &info) != 0) {
        return false;
    }
    seconds =
        static_cast<double>(info.st_mtim.tv_sec) + static_cast<double>(info.st_mtim.tv_nsec) / 1e9;
    return true;
}

void DeleteLocalFile(std::wstring_view path) {
    ::unlink(WideToUtf8(path).c_str());
}

bool ReplaceFileAtomically(std::wstring_view from, std::wstring_view to, std::uint32_t& errorCode) {
    if (::rename(WideToUtf8(from).c_str(), WideToUtf8(to).c_str()) != 0) {
        errorCode = static_cast<std::uint32_t>(errno);
        return false;
    }
    return true;
}

bool CreateFolders(std::wstring_view path) {
    std::error_code ec;
    const std::filesystem::path folder = WideToPath(path);
    std::filesystem::create_directories(folder, ec);
    return std::filesystem::is_directory(folder, ec);
}

}  // namespace tavrin
