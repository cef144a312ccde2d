#pragma once

#include <cstdint>
#include <string>

namespace tavrin::cli {

// The pieces of the live progress line, as UTF-8 texts.
struct ProgressLineParts {
    std::uint32_t done = 0;
    std::uint32_t total = 0;
    std::string counts;         // "Checked: 3/10 files, ..."
    std::string rate;           // may be empty
    std::string remainingTime;  // "hh:mm:ss"; may be empty
};

// The progress line at its fullest that fits `columns` terminal columns without wrapping
// (one column stays free, so the cursor never moves to a new row): the bar narrows, then goes,
// then the rate, then the remaining time; the counts are cut last, ending in "…".
std::string FitProgressLine(const ProgressLineParts& parts, int columns);

// How many columns a terminal gives UTF-8 text: one per code point, as for every letter of
// the languages the program speaks.
std::size_t TerminalWidthOf(const std::string& text);

}  // namespace tavrin::cli
