#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tavrin::cli {

// The command line of tavrin-cli, as its contract documents it.
struct CliOptions {
    std::string command;  // "projects", "sync", "watch", "dropped", "find-game", "help", "version"
    std::optional<std::string> dataDir;
    std::optional<std::string> language;
    std::string server;
    std::string target;
    std::vector<std::string> projects;
    std::map<std::string, std::string> passwords;  // project -> password, UTF-8
    bool allowHttp = false;
    bool noTargetCheck = false;
    bool json = false;
    int waitSeconds = 8;
    std::uint64_t limitRate = 0;  // bytes per second for all downloads together; 0: none
};

// Parses the arguments (UTF-8, without the program name). False with a message for the
// user on a usage error.
bool ParseCliOptions(const std::vector<std::string>& arguments, CliOptions& options,
                     std::string& error);

// The usage text printed by --help and after a usage error.
std::string CliUsage();

}  // namespace tavrin::cli
