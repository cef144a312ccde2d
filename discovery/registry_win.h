#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace tavrin {

// A string value of the registry; nothing when the key or value is missing or not a string.
std::optional<std::wstring> ReadRegistryString(HKEY root, const wchar_t* subKey,
                                               const wchar_t* valueName);

}  // namespace tavrin
