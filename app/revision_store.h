#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace tavrin {

// The last change-feed revision seen per server, kept in the settings file's
// "AutoSyncRevisions" array (QSettings' array layout: "n\domain", "n\revision", "size"), so
// that a restart does not sync again what is already known. Domains compare trimmed and
// lower-cased; a repeated domain takes the later revision.
std::uint64_t ReadAutoSyncRevision(const std::filesystem::path& settingsFile,
                                   std::wstring_view domain);
bool WriteAutoSyncRevision(const std::filesystem::path& settingsFile, std::wstring_view domain,
                           std::uint64_t revision);

}  // namespace tavrin
