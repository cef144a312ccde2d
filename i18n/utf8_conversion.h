#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tavrin {

// Conversions between the UTF-8 bytes of server data and the wide texts of the program.
// Ill-formed input never fails: each maximal ill-formed subsequence (UTF-8) or lone surrogate
// (wide) becomes U+FFFD, as the Windows conversion functions do.
std::wstring Utf8ToWide(std::string_view utf8);
std::string WideToUtf8(std::wstring_view wide);

// Paths to and from texts without the process locale taking part: the engine's wide paths
// and the UTF-8 bytes of Linux file names convert the same under any locale.
std::string PathToUtf8(const std::filesystem::path& path);
std::filesystem::path Utf8ToPath(std::string_view utf8);
std::wstring PathToWide(const std::filesystem::path& path);
std::filesystem::path WideToPath(std::wstring_view wide);

}  // namespace tavrin
