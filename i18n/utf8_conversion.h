#pragma once

#include <string>
#include <string_view>

namespace tavrin {

// Conversions between the UTF-8 bytes of server data and the wide texts of the program.
// Ill-formed input never fails: each maximal ill-formed subsequence (UTF-8) or lone surrogate
// (wide) becomes U+FFFD, as the Windows conversion functions do.
std::wstring Utf8ToWide(std::string_view utf8);
std::string WideToUtf8(std::wstring_view wide);

}  // namespace tavrin
