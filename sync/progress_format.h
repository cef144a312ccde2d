#pragma once

#include <cstdint>
#include <string>

#include "sync/progress.h"

namespace tavrin {

// Byte counts in "B", "KB", "MB", "GB" and "TB" with steps of 1024: no decimals for bytes,
// two otherwise, always "." as decimal point. Counts from 1024 TB up stay in "TB".
std::wstring FormatBytes(std::uint64_t bytes);

// Seconds as "hh:mm:ss", rounded to whole seconds; hours grow past two digits. A negative,
// infinite or undefined time, or one beyond any clock, gives "--:--:--".
std::wstring FormatEta(double seconds);

// The window's texts for one report: the counts ("Checked: 3/10 files, expected download:
// ..."), the current file, and the rate. The pieces are joined without separators of their
// own; spacing comes from the translations.
std::wstring FormatProgressCounts(const ProgressMessage& message);
std::wstring FormatCurrentFile(const ProgressMessage& message);
std::wstring FormatRate(const ProgressMessage& message);

// Fixed notation with `decimals` digits and "." as decimal point, whatever the locale.
std::wstring FormatFixed(double value, int decimals);

}  // namespace tavrin
