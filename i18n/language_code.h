#pragma once

#include <string>
#include <string_view>

namespace tavrin {

// A language code as the program keeps it: trimmed, lower-cased, and cut to its first two
// characters when longer, so "FR_ca", "fra" and " fr " all become "fr".
std::string NormalizeLanguageCode(std::string_view code);

}  // namespace tavrin
