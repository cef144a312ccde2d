#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tavrin {

// The file operations of the sync engine, each one system call (or a short sequence) on each
// platform. Paths are the engine's wide paths.

// The file's size; false when it cannot be read (missing, locked away, not a file).
bool ReadLocalFileSize(std::wstring_view path, std::uint64_t& size);

// Sets the last-write time to the server's time (seconds since 1970, below 0 taken as 0).
// Failures are ignored: a wrong time only costs a re-hash on the next run.
void SetLocalFileTime(std::wstring_view path, double serverTime);

// The last-write time in seconds since 1970; false when it cannot be read.
bool ReadLocalFileTime(std::wstring_view path, double& seconds);

// Removes a file (a link at the path itself, never its target); failures are ignored.
void DeleteLocalFile(std::wstring_view path);

// Moves `from` over `to` in one step (MoveFileExW with MOVEFILE_REPLACE_EXISTING; rename(2)).
// False with the system's error code when the move was refused.
bool ReplaceFileAtomically(std::wstring_view from, std::wstring_view to, std::uint32_t& errorCode);

// Creates a folder with every missing level; false when it does not exist afterwards.
bool CreateFolders(std::wstring_view path);

}  // namespace tavrin
