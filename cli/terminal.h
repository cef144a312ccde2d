#pragma once

#include <atomic>
#include <string>
#include <vector>

namespace tavrin::cli {

// The console, as each platform offers it.

// Whether standard input / standard error are terminals (not pipes or files).
bool StdinIsTerminal();
bool StderrIsTerminal();

// The width in columns of the terminal behind standard error, measured again after each
// resize; 80 when it cannot be measured. WatchTerminalWidth() starts following resizes.
void WatchTerminalWidth();
int TerminalColumns();

// Prints `prompt` on standard error and reads one line from the terminal without echo.
// False when nothing could be read (end of input).
bool ReadSecretLine(const std::string& prompt, std::string& line);

// The first Ctrl+C, Ctrl+Break or termination request raises `flag`; the run then ends
// cleanly by itself.
void RaiseFlagOnInterrupt(std::atomic<bool>& flag);

// Turns the process's arguments into UTF-8 (Windows gives them as UTF-16).
std::vector<std::string> Utf8Arguments(int argc, char** argv);

// Writes UTF-8 text to standard output or error as the console shows it correctly.
void WriteOut(const std::string& text);
void WriteErr(const std::string& text);

// The local time of day, for log-line stamps.
void LocalTimeOfDay(int& hour, int& minute, int& second);

// Sets an environment variable of this process (the engine reads TAVRIN_DATA_DIR).
void SetEnvironmentValue(const std::string& name, const std::string& value);

}  // namespace tavrin::cli
