#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace tavrin {

// Replaces "%1".."%99" with the arguments in one pass, as QString::arg does with several
// arguments: "%1" takes the first, and so on; a number read as two digits ("%10") is one
// placeholder. Placeholders without an argument stay, and argument texts are never searched
// for placeholders themselves.
std::wstring FillPlaceholders(std::wstring_view text,
                              std::initializer_list<std::wstring_view> args);
std::string FillPlaceholders(std::string_view text, std::initializer_list<std::string_view> args);

}  // namespace tavrin
