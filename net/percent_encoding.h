#pragma once

#include <string>
#include <string_view>

namespace tavrin {

// Request-path encoding: ASCII letters, digits, "-", ".", "_" and "~" stay; every other byte
// of the UTF-8 text becomes "%" and two upper-case hex digits. A project name is one path
// segment, so its "/" is encoded too.
std::string PercentEncode(std::string_view utf8);

// The same, but "/" stays: a server path keeps its folders in a download path.
std::string PercentEncodeKeepingSlashes(std::string_view utf8);

// Undoes the encoding: "%" and two hex digits become that byte. False for a "%" not followed
// by two hex digits.
bool PercentDecode(std::string_view text, std::string& decoded);

}  // namespace tavrin
