#pragma once

#include <string>
#include <string_view>

namespace tavrin {

// ASCII-only case handling, for protocol texts (digests, INI names, file-format keys) whose
// meaning must not depend on the user's locale.
std::string ToLowerAscii(std::string_view text);
bool EqualIgnoringAsciiCase(std::string_view a, std::string_view b);

}  // namespace tavrin
