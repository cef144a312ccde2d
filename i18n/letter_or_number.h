#pragma once

namespace tavrin {

// True for code points of the Unicode general categories L and N (letters of every script,
// decimal digits of every script, letter-like and other numbers), as Qt's
// QChar::isLetterOrNumber has it.
bool IsLetterOrNumber(char32_t codePoint);

}  // namespace tavrin
