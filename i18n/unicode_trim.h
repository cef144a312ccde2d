#pragma once

#include <string>
#include <string_view>

namespace tavrin {

// Trims Unicode white space (QString::trimmed's set: ASCII blanks and controls \t..\r, U+0085,
// and the space, line and paragraph separators) from both ends of a UTF-8 text.
std::string TrimUnicodeSpaces(std::string_view utf8);

}  // namespace tavrin
