#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "app/app_paths.h"

namespace tavrin {

// The last good file list of one project on one server, with the validators that let the
// server answer 304 when nothing changed.
struct CachedManifest {
    std::string body;  // the ".json" file; empty when absent
    std::wstring etag;
    std::wstring lastModified;
};

// "<data folder>/cache/manifests", taking over an older cache folder the first time
// ("<LocalAppData>/Ostmere/Tavrin/cache/manifests", else "cache/manifests" beside the program;
// files already there are kept).
std::filesystem::path ManifestCacheDirectory();
std::filesystem::path ManifestCacheDirectoryFor(const DataLocations& locations);

// The cache files' name stem: the FNV-1a hash of "<server text>|<project>" in 16 hex digits.
std::string ManifestCacheStem(std::wstring_view serverText, std::string_view project);

CachedManifest ReadManifestCache(std::wstring_view serverText, std::string_view project);

// Writes the ".json" body and the ".meta" validators (trimmed, line breaks removed). The
// files are written in place: a torn body is caught by the reader next time and answered by
// a fresh, unconditional request.
bool WriteManifestCache(std::wstring_view serverText, std::string_view project,
                        std::string_view body, std::wstring_view etag,
                        std::wstring_view lastModified, std::wstring& errorText);

// The files a project's lists no longer name but the game folder still holds ("<stem>.dropped",
// one UTF-8 path a line), kept across runs so that they can be listed again after the run
// that found them. Empty when there is no record.
std::vector<std::string> ReadDroppedRecord(std::wstring_view serverText, std::string_view project);
bool WriteDroppedRecord(std::wstring_view serverText, std::string_view project,
                        const std::vector<std::string>& paths, std::wstring& errorText);

}  // namespace tavrin
