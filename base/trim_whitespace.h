#pragma once

#include <string>
#include <string_view>

namespace tavrin {

// Removes exactly space, tab, CR and LF at both ends, nothing else: a no-break space or other
// Unicode blank in a user's path or address is kept as typed.
std::wstring TrimWhitespace(std::wstring_view text);
std::string TrimWhitespace(std::string_view text);

}  // namespace tavrin
