// Windows side: the Run value is a command line as Explorer starts it.
#include <windows.h>
// after windows.h, which it needs
#include <shellapi.h>

#include <cwctype>
#include <vector>

#include "app/autostart_command.h"

namespace tavrin {

namespace {

// %VAR% references, as the shell expands them; the text stays as it was when that fails.
std::wstring ExpandEnvironmentReferences(std::wstring_view text) {
    const std::wstring input(text);
    const DWORD needed = ExpandEnvironmentStringsW(input.c_str(), nullptr, 0);
    if (needed == 0) {
        return input;
    }
    std::vector<wchar_t> buffer(needed);
    const DWORD written = ExpandEnvironmentStringsW(input.c_str(), buffer.data(), needed);
    if (written == 0 || written > needed) {
        return input;
    }
    return std::wstring(buffer.data());
}

}  // namespace

bool SplitAutostartCommand(std::wstring_view command, std::vector<std::wstring>& arguments) {
    arguments.clear();
    std::wstring text(command);
    if (text.find(L'%') != std::wstring::npos) {
        text = ExpandEnvironmentReferences(text);
    }
    int count = 0;
    LPWSTR* argv = CommandLineToArgvW(text.c_str(), &count);
    if (argv == nullptr) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        arguments.emplace_back(argv[i]);
    }
    LocalFree(argv);
    return count > 0;
}

std::wstring ComparableExecutablePath(std::wstring_view path) {
    const std::wstring input(path);
    std::wstring full = input;
    const DWORD needed = GetFullPathNameW(input.c_str(), 0, nullptr, nullptr);
    if (needed != 0) {
        std::vector<wchar_t> buffer(needed);
        const DWORD written = GetFullPathNameW(input.c_str(), needed, buffer.data(), nullptr);
        if (written != 0 && written < needed) {
            full.assign(buffer.data(), written);
        }
    }
    for (wchar_t& c : full) {
        c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    }
    return full;
}

std::wstring QuoteAutostartArgument(std::wstring_view argument) {
    return L"\"" + std::wstring(argument) + L"\"";
}

}  // namespace tavrin
