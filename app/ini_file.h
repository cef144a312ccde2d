#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tavrin {

// One value of an INI file, read or written alone: every other line of the file stays as it
// was. Section and key names compare without regard to ASCII case. On Windows these are the
// profile-string functions.

// The value, trimmed; empty when the file, section or key is missing.
std::wstring ReadIniValue(const std::filesystem::path& file, std::wstring_view section,
                          std::wstring_view key);

// Sets the value, adding the key, the section or the file as needed. False when the file
// could not be written; the old file is then left as it was.
bool WriteIniValue(const std::filesystem::path& file, std::wstring_view section,
                   std::wstring_view key, std::wstring_view value);

}  // namespace tavrin
