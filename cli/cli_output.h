#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "sync/progress.h"

namespace tavrin::cli {

// What tavrin-cli prints: log lines as the window shows them ("[hh:mm:ss] text") with a live
// progress line on a terminal, or, with --json, one JSON event per line. Safe to call from
// the engine's threads.
class CliOutput {
public:
    CliOutput(bool json, bool progressLine);

    void Log(const std::wstring& line);
    void Progress(const ProgressMessage& message);
    // The warning that the game runs while a sync goes on: a log line, and with --json an
    // event of its own before it.
    void GameRunning(const std::wstring& warning);
    // Files a project's list dropped: one event with --json; the log lines say it otherwise.
    void Dropped(const std::string& project, const std::vector<std::string>& paths);
    void Result(bool ok, const std::wstring& message, std::uint64_t filesListed,
                std::uint64_t filesUpToDate, std::uint64_t filesDownloaded,
                std::uint64_t bytesDownloaded);
    // Ends a live progress line so that what follows starts on a clean line.
    void FinishProgressLine();

private:
    std::mutex mutex_;
    bool json_;
    bool progressLine_;
    bool progressShown_ = false;
    std::chrono::steady_clock::time_point lastLine_{};
};

// The engine's text as the command line says it: the window's settings become options.
std::wstring ForTheCommandLine(std::wstring text);

// "[hh:mm:ss] " of the local time.
std::string TimeStamp();

}  // namespace tavrin::cli
