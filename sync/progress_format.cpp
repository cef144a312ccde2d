#include "sync/progress_format.h"

#include <array>
#include <charconv>
#include <cmath>

namespace tavrin {
namespace {

// Fixed notation with the given decimals and a "." whatever the process locale says.
std::wstring FormatFixed(double value, int decimals) {
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                      std::chars_format::fixed, decimals);
    return std::wstring(buffer.data(), result.ptr);
}

std::wstring TwoDigits(long long value) {
    std::wstring text = std::to_wstring(value);
    if (text.size() < 2) {
        text.insert(0, 2 - text.size(), L'0');
    }
    return text;
}

}  // namespace

std::wstring FormatBytes(std::uint64_t bytes) {
    static constexpr std::array<const wchar_t*, 5> kUnits = {L"B", L"KB", L"MB", L"GB", L"TB"};
    std::size_t unit = 0;
    auto value = static_cast<double>(bytes);
    while (value >= 1024.0 && unit < kUnits.size() - 1) {
        value /= 1024.0;
        ++unit;
    }
    return FormatFixed(value, unit > 0 ? 2 : 0) + L" " + kUnits[unit];
}

std::wstring FormatEta(double seconds) {
    // Past about 292 billion years the count no longer fits a 64-bit integer.
    constexpr double kLongest = 9.0e18;
    if (!std::isfinite(seconds) || seconds < 0.0 || seconds > kLongest) {
        return L"--:--:--";
    }
    const long long total = std::llround(seconds);
    return TwoDigits(total / 3600) + L":" + TwoDigits((total / 60) % 60) + L":" +
           TwoDigits(total % 60);
}

}  // namespace tavrin
