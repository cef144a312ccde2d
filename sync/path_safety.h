#pragma once

#include <string>
#include <string_view>

#include "sync/target_tree.h"

namespace tavrin {

// Servers are not trusted: every path a file list names goes through ResolveServerPath before
// anything is compared, created or replaced. A path that could leave the game folder, reach
// through a link, or land an executable type is refused with a translated text.

// Maps a server path (UTF-8, "/" or "\" separated) to a local path below `targetFolder`, or
// refuses it. Nothing on disk is changed either way. Beyond traversal, absolute paths, links
// and blocked types, a NUL anywhere, a reserved device name, the client's own temporary suffix
// and a path or name longer than the file system holds are refused; the time taken is linear
// in the path's length.
bool ResolveServerPath(std::wstring_view targetFolder, std::string_view serverPath,
                       std::wstring& localPath, std::wstring& errorText);

// The run's form of the same rules, against the game folder it holds open: the file becomes
// a folder of `tree` and a leaf name. Existing folders on the way are opened from their
// parents without following links, and each is checked once per run.
bool ResolveServerPathInTree(TargetTree& tree, std::string_view serverPath, TreeFile& file,
                             std::wstring& errorText);

// Whether a folder is an Assetto Corsa installation: a directory holding a regular file
// "AssettoCorsa.exe" and a "content" folder, neither of them a link.
bool IsGameFolder(std::wstring_view folder);

// Whether a sync may use `folder` as its game folder: trimmed, it names a directory, and when
// `validationEnabled` it is also an Assetto Corsa installation (IsGameFolder).
bool IsUsableTargetFolder(std::wstring_view folder, bool validationEnabled);

// Whether the file name's extension is one Windows would run (".exe", ".dll", ".ps1", ...),
// ignoring trailing dots and spaces as Windows does when it opens a file.
bool IsBlockedExecutableType(std::wstring_view path);

// Whether `candidate` is `base` or lies below it (names compared as the platform does).
bool IsPathWithin(std::wstring_view base, std::wstring_view candidate);

// Both slashes become the platform's separator, then the lexical normal form: doubled
// separators folded, "." dropped, "x/.." removed. No disk access.
std::wstring NormalizePath(std::wstring_view path);

}  // namespace tavrin
