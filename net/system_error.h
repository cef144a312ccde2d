#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tavrin {

// The text of a failed system call: the translation of `key`, " (", the code in decimal, ")"
// and, when the system has a message for the code, ": " and that message as the system gives
// it. On Windows the code is a Win32 error (GetLastError); on Linux an errno value.
std::wstring FormatSystemError(std::string_view key, std::uint32_t code);

}  // namespace tavrin
