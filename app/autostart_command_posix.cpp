// Linux side: the command is the Exec value of an XDG autostart entry.
#include <filesystem>

#include "app/autostart_command.h"
#include "app/desktop_entry.h"

namespace tavrin {

bool SplitAutostartCommand(std::wstring_view command, std::vector<std::wstring>& arguments) {
    return SplitDesktopExec(command, arguments);
}

std::wstring ComparableExecutablePath(std::wstring_view path) {
    std::error_code ec;
    std::filesystem::path absolute = std::filesystem::absolute(std::filesystem::path(path), ec);
    if (ec) {
        absolute = std::filesystem::path(path);
    }
    return absolute.lexically_normal().wstring();
}

std::wstring QuoteAutostartArgument(std::wstring_view argument) {
    return QuoteDesktopExecArgument(argument);
}

}  // namespace tavrin
