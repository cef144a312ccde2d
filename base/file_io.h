#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

// A whole file's bytes; nothing when it cannot be opened.
std::optional<std::string> ReadWholeFile(const std::filesystem::path& path);

// Writes beside the file and renames over it, so that a failed write never leaves half a
// file where a good one stood. False when the file could not be written.
bool WriteFileReplacing(const std::filesystem::path& path, std::string_view bytes);

}  // namespace tavrin
