#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

// What the window's settings file (Tavrin.ini, in Qt's INI format) holds for a sync run, read
// without the window's toolkit so that tavrin-cli can run what a player set up in the window.
struct WindowSyncSettings {
    std::string targetFolder;  // UTF-8, as stored
    bool httpLockEnabled = true;
    // The ticked projects of the selected servers, by server (the URL as the keys hold it, in
    // lower case), each in the order ticked.
    std::map<std::string, std::vector<std::string>> tickedProjects;
    // Remembered passwords by project key ("<server url>|<project>", lower case).
    std::map<std::string, std::string> passwords;
};

// False when the file is absent or cannot be read; a key that is missing leaves its default.
bool ReadWindowSyncSettings(const std::filesystem::path& file, WindowSyncSettings& settings);

// One value as Qt's INI format writes it: quotes, backslash escapes (\n, \", \\, \x..., octal)
// and, outside quotes, commas between the elements of a list. "@@" stands for a leading "@";
// "@Invalid()" is no value. A plain string is a list of one.
std::vector<std::string> ParseQtIniValue(std::string_view raw);

}  // namespace tavrin
