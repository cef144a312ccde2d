#include "cli/cli_output.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "cli/progress_line.h"
#include "cli/terminal.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "sync/progress_format.h"

namespace tavrin::cli {
namespace {

std::string Dump(const nlohmann::json& event) {
    return event.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string TimeStamp() {
    int hour = 0;
    int minute = 0;
    int second = 0;
    LocalTimeOfDay(hour, minute, second);
    char stamp[16];
    std::snprintf(stamp, sizeof stamp, "[%02u:%02u:%02u] ", static_cast<unsigned>(hour),
                  static_cast<unsigned>(minute), static_cast<unsigned>(second));
    return stamp;
}

CliOutput::CliOutput(bool json, bool progressLine) : json_(json), progressLine_(progressLine) {
    if (progressLine_) {
        WatchTerminalWidth();
    }
}

std::wstring ForTheCommandLine(std::wstring text) {
    // The window's refusal of plain HTTP names its setting; here the option lifts it.
    const std::wstring windowText = TrWide("error.http_requires_unlock");
    if (const std::size_t at = text.find(windowText); at != std::wstring::npos) {
        text.replace(at, windowText.size(), TrWide("error.http_requires_allow_http"));
    }
    return text;
}

void CliOutput::FinishProgressLine() {
    if (progressShown_) {
        WriteErr("\r\x1b[K");
        progressShown_ = false;
    }
}

void CliOutput::Log(const std::wstring& line) {
    std::lock_guard lock(mutex_);
    const bool bold = line.rfind(kHighlightPrefix, 0) == 0;
    const std::string text =
        WideToUtf8(ForTheCommandLine(bold ? line.substr(kHighlightPrefix.size()) : line));
    if (json_) {
        const std::string stamp = TimeStamp();
        WriteOut(
            Dump({{"event", "log"}, {"time", stamp.substr(1, 8)}, {"text", text}, {"bold", bold}}));
        return;
    }
    FinishProgressLine();
    WriteOut(TimeStamp() + text + "\n");
}

void CliOutput::Progress(const ProgressMessage& message) {
    std::lock_guard lock(mutex_);
    if (json_) {
        WriteOut(Dump({{"event", "progress"},
                       {"comparing", message.comparing},
                       {"done", message.done},
                       {"total", message.total},
                       {"bytes_done", message.bytesDone},
                       {"bytes_total", message.bytesTotal},
                       {"expected_bytes", message.expectedBytes},
                       {"expected_files", message.expectedFiles},
                       {"elapsed_seconds", message.elapsedSeconds},
                       {"current_file", WideToUtf8(message.currentFile)}}));
        return;
    }
    if (!progressLine_) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (message.done < message.total && now - lastLine_ < std::chrono::milliseconds(100)) {
        return;
    }
    lastLine_ = now;
    ProgressLineParts parts;
    parts.done = message.done;
    parts.total = message.total;
    parts.counts = WideToUtf8(FormatProgressCounts(message));
    parts.rate = WideToUtf8(FormatRate(message));
    if (!message.comparing && message.elapsedSeconds > 0.5 && message.bytesDone > 0) {
        const double rate = static_cast<double>(message.bytesDone) / message.elapsedSeconds;
        const double left = static_cast<double>(message.bytesTotal -
                                                std::min(message.bytesTotal, message.bytesDone));
        parts.remainingTime = WideToUtf8(FormatEta(left / rate));
    }
    const std::string line = FitProgressLine(parts, TerminalColumns());
    WriteErr("\r\x1b[K" + line);
    progressShown_ = true;
}

void CliOutput::GameRunning(const std::wstring& warning) {
    if (json_) {
        std::lock_guard lock(mutex_);
        WriteOut(Dump({{"event", "game_running"}, {"message", WideToUtf8(warning)}}));
    }
    Log(warning);
}

void CliOutput::Dropped(const std::string& project, const std::vector<std::string>& paths) {
    std::lock_guard lock(mutex_);
    if (json_) {
        WriteOut(Dump({{"event", "dropped"},
                       {"project", project},
                       {"count", paths.size()},
                       {"files", paths}}));
    }
}

void CliOutput::Result(bool ok, const std::wstring& message, std::uint64_t filesListed,
                       std::uint64_t filesUpToDate, std::uint64_t filesDownloaded,
                       std::uint64_t bytesDownloaded) {
    std::lock_guard lock(mutex_);
    FinishProgressLine();
    if (json_) {
        WriteOut(Dump({{"event", "result"},
                       {"ok", ok},
                       {"message", WideToUtf8(ForTheCommandLine(message))},
                       {"files_listed", filesListed},
                       {"files_up_to_date", filesUpToDate},
                       {"files_downloaded", filesDownloaded},
                       {"bytes_downloaded", bytesDownloaded}}));
        return;
    }
    if (ok) {
        WriteOut(TimeStamp() + WideToUtf8(message) + "\n");
    }
}

}  // namespace tavrin::cli
