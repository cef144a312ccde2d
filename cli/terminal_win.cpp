// Windows side of the console: console modes for hidden input, a console control handler for
// Ctrl+C and Ctrl+Break, UTF-16 arguments and console output.
#include <windows.h>

#include <shellapi.h>

#include <io.h>
#include <cstdio>

#include "cli/terminal.h"
#include "i18n/utf8_conversion.h"

namespace tavrin::cli {
namespace {
std::atomic<bool>* interruptFlag = nullptr;

BOOL WINAPI OnControl(DWORD event) {
    if (interruptFlag != nullptr &&
        (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT || event == CTRL_CLOSE_EVENT)) {
        interruptFlag->store(true);
        return TRUE;
    }
    return FALSE;
}

bool IsConsole(DWORD which) {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(which), &mode) != 0;
}

void Write(DWORD which, FILE* stream, const std::string& text) {
    const HANDLE handle = GetStdHandle(which);
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode)) {
        const std::wstring wide = Utf8ToWide(text);
        DWORD written = 0;
        WriteConsoleW(handle, wide.c_str(), static_cast<DWORD>(wide.size()), &written, nullptr);
        return;
    }
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}
}  // namespace

bool StdinIsTerminal() {
    return IsConsole(STD_INPUT_HANDLE);
}
bool StderrIsTerminal() {
    return IsConsole(STD_ERROR_HANDLE);
}

void WatchTerminalWidth() {}

// The console reports its window with every call, resized or not: no event to follow.
int TerminalColumns() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) != 0) {
        const int columns = info.srWindow.Right - info.srWindow.Left + 1;
        if (columns > 0) {
            return columns;
        }
    }
    return 80;
}

bool ReadSecretLine(const std::string& prompt, std::string& line) {
    WriteErr(prompt);
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD saved = 0;
    const bool console = GetConsoleMode(input, &saved) != 0;
    if (console) {
        SetConsoleMode(input, saved & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
    }
    wchar_t buffer[1024] = {};
    DWORD read = 0;
    bool ok = false;
    if (console) {
        ok = ReadConsoleW(input, buffer, 1023, &read, nullptr) != 0;
        SetConsoleMode(input, saved);
        WriteErr("\n");
    }
    std::wstring text(buffer, read);
    while (!text.empty() && (text.back() == L'\r' || text.back() == L'\n')) {
        text.pop_back();
    }
    line = WideToUtf8(text);
    return ok;
}

void RaiseFlagOnInterrupt(std::atomic<bool>& flag) {
    interruptFlag = &flag;
    SetConsoleCtrlHandler(OnControl, TRUE);
}

std::vector<std::string> Utf8Arguments(int, char**) {
    int count = 0;
    LPWSTR* wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.push_back(WideToUtf8(wide[i]));
    }
    LocalFree(wide);
    return arguments;
}

void WriteOut(const std::string& text) {
    Write(STD_OUTPUT_HANDLE, stdout, text);
}
void WriteErr(const std::string& text) {
    Write(STD_ERROR_HANDLE, stderr, text);
}

void LocalTimeOfDay(int& hour, int& minute, int& second) {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    hour = now.wHour;
    minute = now.wMinute;
    second = now.wSecond;
}

void SetEnvironmentValue(const std::string& name, const std::string& value) {
    _wputenv_s(Utf8ToWide(name).c_str(), Utf8ToWide(value).c_str());
}

}  // namespace tavrin::cli
