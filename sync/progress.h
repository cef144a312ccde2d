#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

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

// Where one run's log lines and progress reports go. They are called on the engine's threads
// (the receiver hands them on to its own thread) and travel with the run's request, so runs
// in one process never mix their reports. A log line that should stand out starts with U+001E
// and "!". Either may be empty: its reports are dropped.
using LogSink = std::function<void(const std::wstring& line)>;
using ProgressSink = std::function<void(const ProgressMessage& message)>;
// Files a project's new list no longer names that the game folder still holds (UTF-8 paths).
using DroppedSink =
    std::function<void(const std::string& project, const std::vector<std::string>& paths)>;

struct ProgressSinks {
    LogSink log;
    ProgressSink progress;
    DroppedSink dropped;

    void Log(std::wstring_view text, bool highlighted = false) const;
    void Report(const ProgressMessage& message) const;
};

// The prefix of a highlighted log line.
inline constexpr std::wstring_view kHighlightPrefix = L"\x1E!";

}  // namespace tavrin
