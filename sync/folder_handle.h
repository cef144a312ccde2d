#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "sync/path_status.h"

namespace tavrin {

// File operations relative to a folder the run holds open. Names are single elements in
// UTF-8, never paths: nothing here walks a path again, so a folder on the way that is swapped
// for a link after it was opened cannot redirect an operation.

// An open descriptor (Linux) or HANDLE (Windows), closed by its owner.
class NativeHandle {
public:
    NativeHandle() = default;
    explicit NativeHandle(std::intptr_t value) : value_(value) {}
    ~NativeHandle() { Close(); }
    NativeHandle(NativeHandle&& other) noexcept : value_(other.Release()) {}
    NativeHandle& operator=(NativeHandle&& other) noexcept;
    NativeHandle(const NativeHandle&) = delete;
    NativeHandle& operator=(const NativeHandle&) = delete;

    bool IsOpen() const { return value_ != kClosed; }
    std::intptr_t Get() const { return value_; }
    std::intptr_t Release();
    void Close();

    static constexpr std::intptr_t kClosed = -1;  // also INVALID_HANDLE_VALUE

private:
    std::intptr_t value_ = kClosed;
};

// How opening a folder went.
enum class FolderOutcome {
    kOpened,
    kAbsent,      // nothing there (and not created)
    kLink,        // a symbolic link, junction or other reparse point: never entered
    kNotAFolder,  // a file or device stands there
    kFailed,      // the system refused; `errorCode` says why
};

struct FolderOpenResult {
    FolderOutcome outcome = FolderOutcome::kFailed;
    std::uint32_t errorCode = 0;
};

// The game folder itself, by its path: the only path the run walks. A link or junction at
// the folder's own name is refused (Windows: any reparse point, checked on the handle). On
// Windows the folder is held without delete sharing, so it cannot be renamed or replaced
// while the run has it open.
FolderOpenResult OpenTopFolder(std::wstring_view path, NativeHandle& folder);

// One element below an open folder, never following a link; made first when `create` is set
// and nothing is there.
FolderOpenResult OpenChildFolder(const NativeHandle& parent, std::string_view name, bool create,
                                 NativeHandle& folder);

// What stands at a name in a folder, not following a link there; the size for files.
struct EntryStatus {
    PathKind kind = PathKind::kAbsent;
    std::uint64_t size = 0;
    std::uint32_t errorCode = 0;  // when kind is kUnreadable
};
EntryStatus ReadEntryStatus(const NativeHandle& folder, std::string_view name);

// A regular file for reading (sharing read, write and delete with other programs); a link
// there is not followed.
bool OpenFileForReading(const NativeHandle& folder, std::string_view name, NativeHandle& file,
                        std::uint32_t& errorCode);

// A new file for writing; fails when anything, a link included, already has the name.
bool CreateNewFile(const NativeHandle& folder, std::string_view name, NativeHandle& file,
                   std::uint32_t& errorCode);

// Removes a file (a link with the name itself, never its target); failures are ignored.
void DeleteFileAt(const NativeHandle& folder, std::string_view name);

// Moves `from` over `to` in one step, both in the same folder. False with the system's code.
bool ReplaceFileAt(const NativeHandle& folder, std::string_view from, std::string_view to,
                   std::uint32_t& errorCode);

// Sets the last-write time to the server's (seconds since 1970, below 0 taken as 0). Failures
// are ignored: a wrong time only costs a re-hash on the next run.
void SetFileTimeAt(const NativeHandle& folder, std::string_view name, double serverTime);

// How many folders a run may keep open at once: a share of the process's descriptor limit.
std::size_t MostOpenFolders();

// Whether an open folder must keep its parents open too. On Windows a held folder stops its
// own renaming, not its parents', so every folder above one in use stays held. On Linux an
// open descriptor is enough by itself, and a deep path must not cost a descriptor per level.
extern const bool kOpenFoldersHoldTheirParents;

}  // namespace tavrin
