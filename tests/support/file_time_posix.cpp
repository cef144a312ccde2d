// Test helper reading file times by path (utimensat and lstat).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <filesystem>

#include "i18n/utf8_conversion.h"
#include "tests/support/file_time.h"

namespace tavrin::test {
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
