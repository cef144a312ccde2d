#include "cli/progress_line.h"

#include <algorithm>

namespace tavrin::cli {
namespace {

constexpr std::size_t kWidestBar = 24;
constexpr std::size_t kNarrowestBar = 10;
constexpr const char* kGap = "  ";

std::string Bar(std::uint32_t done, std::uint32_t total, std::size_t width) {
    const double share = total == 0 ? 0.0 : std::clamp(static_cast<double>(done) / total, 0.0, 1.0);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(width));
    return "[" + std::string(filled, '#') + std::string(width - filled, '-') + "]";
}

bool IsContinuationByte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// The text cut to `columns` columns, its last one an ellipsis when anything was cut.
std::string CutToColumns(const std::string& text, std::size_t columns) {
    if (TerminalWidthOf(text) <= columns) {
        return text;
    }
    if (columns == 0) {
        return {};
    }
    std::string cut;
    std::size_t used = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!IsContinuationByte(text[i])) {
            if (used == columns - 1) {
                break;
            }
            ++used;
        }
        cut += text[i];
    }
    return cut + "\u2026";
}

}  // namespace

std::size_t TerminalWidthOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char byte) { return !IsContinuationByte(byte); }));
}

std::string FitProgressLine(const ProgressLineParts& parts, int columns) {
    const std::size_t room = columns > 1 ? static_cast<std::size_t>(columns) - 1 : 1;
    const auto withGap = [](const std::string& text) { return text.empty() ? text : kGap + text; };
    const std::string withoutRate = parts.counts + withGap(parts.remainingTime);
    const std::string fullest = parts.counts + withGap(parts.rate) + withGap(parts.remainingTime);
    const std::size_t fullestWidth = TerminalWidthOf(fullest);
    if (fullestWidth + 1 + kNarrowestBar + 2 <= room) {
        const std::size_t bar = std::min(kWidestBar, room - fullestWidth - 1 - 2);
        return Bar(parts.done, parts.total, bar) + " " + fullest;
    }
    for (const std::string* text : {&fullest, &withoutRate}) {
        if (TerminalWidthOf(*text) <= room) {
            return *text;
        }
    }
    return CutToColumns(parts.counts, room);
}

}  // namespace tavrin::cli
