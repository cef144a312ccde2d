// Windows side of body files: CreateFileW, with CREATE_NEW for a file that must not exist yet,
// sharing read, write and delete with other programs.
#include <windows.h>

#include "net/output_file.h"

namespace tavrin {
namespace {
HANDLE AsHandle(std::intptr_t value) {
    return reinterpret_cast<HANDLE>(value);
}
}  // namespace

OutputFile::~OutputFile() {
    Close();
}

bool OutputFile::Open(const std::filesystem::path& path, bool mustBeNew) {
    Close();
    const HANDLE file = CreateFileW(
        path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, mustBeNew ? CREATE_NEW : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    handle_ = reinterpret_cast<std::intptr_t>(file);
    return true;
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
        const DWORD chunk = size > 0x40000000 ? 0x40000000 : static_cast<DWORD>(size);
        DWORD written = 0;
        if (!WriteFile(AsHandle(handle_), data, chunk, &written, nullptr) || written == 0) {
            const DWORD code = GetLastError();
            writeError_ = code != ERROR_SUCCESS ? code : ERROR_DISK_FULL;
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

void OutputFile::Close() {
    if (handle_ != -1) {
        CloseHandle(AsHandle(handle_));
        handle_ = -1;
    }
}

bool OutputFile::IsOpen() const {
    return handle_ != -1;
}

}  // namespace tavrin
