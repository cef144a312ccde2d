// Linux side: the executable is wherever /proc/self/exe points.
#include "base/executable_directory.h"

namespace tavrin {

std::filesystem::path ExecutablePath() {
    std::error_code ec;
    std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::filesystem::path() : self;
}

std::filesystem::path ExecutableDirectory() {
    return ExecutablePath().parent_path();
}

}  // namespace tavrin
