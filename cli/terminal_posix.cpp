// Linux side of the console: termios for hidden input, sigaction for SIGINT, SIGTERM and
// SIGWINCH.
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>

#include "cli/terminal.h"

namespace tavrin::cli {
namespace {
std::atomic<bool>* interruptFlag = nullptr;

void OnSignal(int) {
    if (interruptFlag != nullptr) {
        interruptFlag->store(true);
    }
}

std::atomic<bool> terminalResized{true};  // true: not measured yet
std::atomic<int> terminalColumns{80};

void OnResize(int) {
    terminalResized.store(true);
}
}  // namespace

void WatchTerminalWidth() {
    struct sigaction action {};
    action.sa_handler = OnResize;
    sigemptyset(&action.sa_mask);
    // A resize must not break off a read or a wait of the run.
    action.sa_flags = SA_RESTART;
    sigaction(SIGWINCH, &action, nullptr);
}

int TerminalColumns() {
    if (terminalResized.exchange(false)) {
        winsize size{};
        if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
            terminalColumns.store(size.ws_col);
        }
    }
    return terminalColumns.load();
}

bool StdinIsTerminal() {
    return isatty(STDIN_FILENO) == 1;
}
bool StderrIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

bool ReadSecretLine(const std::string& prompt, std::string& line) {
    std::fputs(prompt.c_str(), stderr);
    std::fflush(stderr);
    termios saved{};
    const bool terminal = tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        termios hidden = saved;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &hidden);
    }
    const bool read = static_cast<bool>(std::getline(std::cin, line));
    if (terminal) {
        tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        std::fputs("\n", stderr);
    }
    return read;
}

void RaiseFlagOnInterrupt(std::atomic<bool>& flag) {
    interruptFlag = &flag;
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

std::vector<std::string> Utf8Arguments(int argc, char** argv) {
    return std::vector<std::string>(argv + 1, argv + argc);
}

void WriteOut(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void WriteErr(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void LocalTimeOfDay(int& hour, int& minute, int& second) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    hour = local.tm_hour;
    minute = local.tm_min;
    second = local.tm_sec;
}

void SetEnvironmentValue(const std::string& name, const std::string& value) {
    setenv(name.c_str(), value.c_str(), 1);
}

}  // namespace tavrin::cli
