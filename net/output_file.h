#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>

namespace tavrin {

// A file the HTTP layer writes a body into. Opened either by truncating whatever is there, or
// as a new file that must not exist yet: the download's temporary file, where a link planted
// at that path must never be written through (O_NOFOLLOW | O_EXCL on Linux, CREATE_NEW on
// Windows). Other readers and writers are not locked out.
class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool Open(const std::filesystem::path& path, bool mustBeNew);
    // Takes over a handle opened elsewhere (a descriptor on Linux, a HANDLE on Windows).
    void Adopt(std::intptr_t handle);
    // Sees every block handed to Write, in order (a download hashes itself this way).
    void SetObserver(std::function<void(const char*, std::size_t)> observer) {
        observer_ = std::move(observer);
    }
    bool Write(const char* data, std::size_t size);
    // Why the last Write failed: an errno value on Linux, a Win32 error on Windows; 0 if none.
    std::uint32_t WriteError() const { return writeError_; }
    void Close();
    bool IsOpen() const;

private:
    // The platform's handle (a HANDLE on Windows, a descriptor on Linux); -1 when closed.
    std::intptr_t handle_ = -1;
    std::function<void(const char*, std::size_t)> observer_;
    std::uint32_t writeError_ = 0;
};

}  // namespace tavrin
