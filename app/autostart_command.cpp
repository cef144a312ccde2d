#include "app/autostart_command.h"

#include <algorithm>
#include <cwctype>

#include "base/trim_whitespace.h"

namespace tavrin {

namespace {

bool EqualsIgnoringCase(std::wstring_view a, std::wstring_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) {
               return std::towlower(static_cast<std::wint_t>(x)) ==
                      std::towlower(static_cast<std::wint_t>(y));
           });
}

}  // namespace

std::string AutostartModeToString(AutostartMode mode) {
    return mode == AutostartMode::window ? "window" : "tray";
}

AutostartMode AutostartModeFromString(std::string_view text) {
    std::string word = TrimWhitespace(text);
    std::transform(word.begin(), word.end(), word.begin(), [](char c) {
        return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return word == "window" ? AutostartMode::window : AutostartMode::tray;
}

AutostartState ReadAutostartCommand(std::wstring_view command, std::wstring_view executablePath) {
    AutostartState state;
    if (command.empty()) {
        return state;
    }
    state.exists = true;
    std::vector<std::wstring> arguments;
    if (!SplitAutostartCommand(command, arguments) || arguments.empty()) {
        return state;
    }
    state.parsed = true;
    state.matchesExecutable =
        !executablePath.empty() &&
        ComparableExecutablePath(arguments.front()) == ComparableExecutablePath(executablePath);
    const bool tray =
        std::any_of(arguments.begin() + 1, arguments.end(), [](const std::wstring& argument) {
            return EqualsIgnoringCase(argument, kStartInTraySwitch) ||
                   EqualsIgnoringCase(argument, kMinimizedToTraySwitch);
        });
    state.mode = tray ? AutostartMode::tray : AutostartMode::window;
    return state;
}

std::wstring AutostartCommandFor(std::wstring_view executablePath, AutostartMode mode) {
    std::wstring command = QuoteAutostartArgument(executablePath);
    if (mode == AutostartMode::tray) {
        command += L' ';
        command += kStartInTraySwitch;
    }
    return command;
}

}  // namespace tavrin
