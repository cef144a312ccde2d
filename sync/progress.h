#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tavrin {

// One progress report of the engine.
struct ProgressMessage {
    std::uint32_t done = 0;   // files compared, or files downloaded
    std::uint32_t total = 0;  // files to compare (at least 1), or files to download
    std::uint64_t bytesDone = 0;
    std::uint64_t bytesTotal = 0;
    std::uint64_t expectedBytes = 0;  // comparison: projected bytes to download
    std::uint64_t expectedFiles = 0;  // comparison: projected files to download
    double elapsedSeconds = 0.0;      // since the phase started
    std::wstring currentFile;         // the file or project at hand, or the text of "common.none"
    bool comparing = false;
};

// The receivers of the engine's log lines and progress reports: one pair for the process,
// called on the engine's threads (the receiver hands them on to its own thread). A log line
// that should stand out starts with U+001E and "!".
using LogSink = std::function<void(const std::wstring& line)>;
using ProgressSink = std::function<void(const ProgressMessage& message)>;

// Replaces the pair; the previous ones are destroyed outside the lock.
void InstallProgressSinks(LogSink log, ProgressSink progress);

void PostProgress(const ProgressMessage& message);
void PostLog(std::wstring_view text, bool highlighted = false);

// The prefix of a highlighted log line.
inline constexpr std::wstring_view kHighlightPrefix = L"\x1E!";

}  // namespace tavrin
