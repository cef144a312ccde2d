#pragma once

#include <string_view>

namespace tavrin {

// Packs saved in a wrong encoding turn non-ASCII letters into "?". A UTF-8 text counts as
// damaged when a "?" stands between two letters or digits, or next to another "?". A "?" at
// either end, or between a letter and a blank, is fine; an empty text is never damaged.
bool IsDamagedText(std::string_view utf8);

}  // namespace tavrin
