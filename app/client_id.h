#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tavrin {

// The installation's identifier that servers see in "X-Client-ID": "tavrin-" and either 16
// hex digits or a 36-character GUID. Read from "General/client_id" of the settings file;
// a missing or invalid one is replaced by a new GUID-based id (or, if no GUID can be made,
// one derived from the machine) and written back. An id that cannot be written back is still
// used for this run.
std::wstring ClientId(const std::filesystem::path& settingsFile);

// "tavrin-" followed by 16 hex digits (either case) or a GUID text with hex digits of either
// case; the prefix itself must be lower case.
bool IsValidClientId(std::wstring_view id);

// "tavrin-" and the 16-digit FNV-1a hash of "<computer>|<user>" in UTF-8.
std::wstring MachineClientId(std::wstring_view computerName, std::wstring_view userName);

}  // namespace tavrin
