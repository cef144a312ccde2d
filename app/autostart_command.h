#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

// How an autostarted instance shows itself: its window, or only the tray icon.
enum class AutostartMode { window, tray };

// What a stored autostart command says about the running executable.
struct AutostartState {
    bool exists = false;             // a non-empty command is stored
    bool parsed = false;             // it splits into at least one argument
    bool matchesExecutable = false;  // its first argument is this executable
    AutostartMode mode = AutostartMode::window;
};

// "tray" or "window", as the settings file stores the mode.
std::string AutostartModeToString(AutostartMode mode);
// Window exactly when the trimmed, lower-cased text is "window"; anything else is tray.
AutostartMode AutostartModeFromString(std::string_view text);

// The switch an autostart command passes for a start in the tray.
inline constexpr std::wstring_view kStartInTraySwitch = L"--start-in-tray";
inline constexpr std::wstring_view kMinimizedToTraySwitch = L"--minimized-to-tray";

// Reads a stored command: split as the platform's launcher splits it, the first argument
// compared with `executablePath`, the mode taken from any later start switch (either case).
AutostartState ReadAutostartCommand(std::wstring_view command, std::wstring_view executablePath);

// The command to store for `executablePath` in `mode`: the quoted path, followed by
// " --start-in-tray" in tray mode.
std::wstring AutostartCommandFor(std::wstring_view executablePath, AutostartMode mode);

// Platform pieces of the two above.
// Splits a command into arguments (Windows: environment references expanded, then
// CommandLineToArgvW; Linux: desktop-entry Exec quoting). False when it cannot be split.
bool SplitAutostartCommand(std::wstring_view command, std::vector<std::wstring>& arguments);
// A path in the form two paths of one file share (Windows: GetFullPathNameW, lower case;
// Linux: absolute and lexically normal, case kept).
std::wstring ComparableExecutablePath(std::wstring_view path);
// One argument quoted for the platform's command line.
std::wstring QuoteAutostartArgument(std::wstring_view argument);

}  // namespace tavrin
