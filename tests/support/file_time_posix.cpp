// Test helpers for file times by path (utimensat and lstat).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <filesystem>

#include "i18n/utf8_conversion.h"
#include "tests/support/file_time.h"

namespace tavrin::test {
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

}  // namespace tavrin::test
