#include "sync/progress_format.h"

#include <array>
#include <charconv>
#include <cmath>

#include "i18n/translator.h"

namespace tavrin {

std::wstring FormatFixed(double value, int decimals) {
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                      std::chars_format::fixed, decimals);
    return std::wstring(buffer.data(), result.ptr);
}

namespace {

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

namespace tavrin {

std::wstring FormatProgressCounts(const ProgressMessage& message) {
    const std::wstring files = TrWide("progress.files_suffix");
    if (message.comparing) {
        std::wstring text = TrWide("progress.compare_progress") + std::to_wstring(message.done) +
                            L"/" + std::to_wstring(message.total) + files;
        if (message.expectedBytes > 0 || message.expectedFiles > 0) {
            text += TrWide("progress.expected_download") + FormatBytes(message.expectedBytes) +
                    L" (" + std::to_wstring(message.expectedFiles) + files + L")";
        }
        return text;
    }
    return TrWide("progress.data_progress") + FormatBytes(message.bytesDone) + L" / " +
           FormatBytes(message.bytesTotal) + L" (" + std::to_wstring(message.done) + L"/" +
           std::to_wstring(message.total) + files + L")";
}

std::wstring FormatCurrentFile(const ProgressMessage& message) {
    return TrWide(message.comparing ? "progress.comparing_file" : "progress.current_file") +
           (message.currentFile.empty() ? TrWide("common.none") : message.currentFile);
}

std::wstring FormatRate(const ProgressMessage& message) {
    if (!message.comparing) {
        const double rate = message.elapsedSeconds > 0.001
                                ? static_cast<double>(message.bytesDone) / message.elapsedSeconds
                                : 0.0;
        return TrWide("progress.download_speed") + FormatBytes(static_cast<std::uint64_t>(rate)) +
               L"/s";
    }
    const double rate = message.elapsedSeconds > 0.001 && message.done > 0
                            ? static_cast<double>(message.done) / message.elapsedSeconds
                            : 0.0;
    return TrWide("progress.status_compare") + L" (" + FormatFixed(rate, 2) +
           TrWide("progress.files_per_second") + L")";
}

}  // namespace tavrin
