// Windows side: GetModuleFileNameW of the process image.
#include <windows.h>

#include <string>
#include <vector>

#include "base/executable_directory.h"

namespace tavrin {

std::filesystem::path ExecutablePath() {
    std::vector<wchar_t> buffer(32768);
    const DWORD length =
        GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0 || length >= buffer.size()) {
        return {};
    }
    return std::filesystem::path(std::wstring(buffer.data(), length));
}

std::filesystem::path ExecutableDirectory() {
    return ExecutablePath().parent_path();
}

}  // namespace tavrin
