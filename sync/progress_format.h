#pragma once

#include <cstdint>
#include <string>

namespace tavrin {

// Byte counts in "B", "KB", "MB", "GB" and "TB" with steps of 1024: no decimals for bytes,
// two otherwise, always "." as decimal point. Counts from 1024 TB up stay in "TB".
std::wstring FormatBytes(std::uint64_t bytes);

// Seconds as "hh:mm:ss", rounded to whole seconds; hours grow past two digits. A negative,
// infinite or undefined time, or one beyond any clock, gives "--:--:--".
std::wstring FormatEta(double seconds);

}  // namespace tavrin
