// Linux side of body files: open(2) with O_NOFOLLOW, so a symbolic link is never followed.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "net/output_file.h"

namespace tavrin {

OutputFile::~OutputFile() {
    Close();
}

bool OutputFile::Open(const std::filesystem::path& path, bool mustBeNew) {
    Close();
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | (mustBeNew ? O_EXCL : O_TRUNC);
    const int descriptor = ::open(path.c_str(), flags, 0644);
    handle_ = descriptor;
    return descriptor >= 0;
}

void OutputFile::Adopt(std::intptr_t handle) {
    Close();
    handle_ = handle;
}

bool OutputFile::Write(const char* data, std::size_t size) {
    if (observer_) {
        observer_(data, size);
    }
    while (size > 0) {
        const ssize_t written = ::write(static_cast<int>(handle_), data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            writeError_ = static_cast<std::uint32_t>(written < 0 ? errno : ENOSPC);
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

void OutputFile::Close() {
    if (handle_ >= 0) {
        ::close(static_cast<int>(handle_));
        handle_ = -1;
    }
}

bool OutputFile::IsOpen() const {
    return handle_ >= 0;
}

}  // namespace tavrin
