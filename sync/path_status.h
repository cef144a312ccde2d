#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tavrin {

// What is at a path, read without following a link at the path itself.
enum class PathKind { kAbsent, kDirectory, kFile, kLink, kOther, kUnreadable };

struct PathStatus {
    PathKind kind = PathKind::kAbsent;
    std::uint32_t errorCode = 0;  // the system's code when kind is kUnreadable
};

// The platform's separator, and the one every path of the engine uses.
extern const wchar_t kPathSeparator;

// Reads a path's status without following a link there (lstat; FindFirstFileW on Windows,
// so that junctions and symbolic links both show as kLink).
PathStatus ReadPathStatus(std::wstring_view path);

// Whether a directory is there, following links (the game folder check does).
bool IsDirectoryFollowingLinks(std::wstring_view path);

// Whether the path is any kind of reparse point (Windows: FILE_ATTRIBUTE_REPARSE_POINT from
// GetFileAttributesW; Linux: a symbolic link). False with `errorCode` set when the attributes
// cannot be read.
bool IsReparsePoint(std::wstring_view path, bool& isReparsePoint, std::uint32_t& errorCode);

// Compares path texts as the platform compares names: without regard to case on Windows,
// exactly on Linux.
bool SamePathText(std::wstring_view a, std::wstring_view b);

// What the platform's file system can hold, in its own units (UTF-8 bytes on Linux, UTF-16
// units on Windows): a whole path, and one element of it.
extern const std::size_t kMostPathUnits;
extern const std::size_t kMostNameUnits;
std::size_t NativeLength(std::wstring_view text);

// A key under which two names the platform takes for the same file are equal: lower-cased
// and without trailing dots and spaces on Windows, the name itself on Linux.
std::wstring PathCaseKey(std::wstring_view path);

}  // namespace tavrin
