#include "cli/cli_options.h"

#include <charconv>

namespace tavrin::cli {
namespace {

bool IsCommand(const std::string& word) {
    return word == "projects" || word == "sync" || word == "watch" || word == "find-game";
}

bool NeedsValue(const std::string& option) {
    return option == "--data-dir" || option == "--language" || option == "--server" ||
           option == "--target" || option == "--project" || option == "--password" ||
           option == "--wait";
}

}  // namespace

std::string CliUsage() {
    return "Usage: tavrin-cli [--data-dir DIR] [--language CODE] COMMAND [OPTIONS]\n"
           "\n"
           "Commands:\n"
           "  projects --server URL [--allow-http]\n"
           "  sync     --server URL --target DIR --project NAME [--project NAME]...\n"
           "           [--password NAME=SECRET]... [--allow-http] [--no-target-check] [--json]\n"
           "  watch    (the options of sync) [--wait SECONDS]\n"
           "  find-game\n"
           "  --help, --version\n";
}

bool ParseCliOptions(const std::vector<std::string>& arguments, CliOptions& options,
                     std::string& error) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& word = arguments[i];
        if (word == "--help" || word == "-h") {
            options.command = "help";
            return true;
        }
        if (word == "--version") {
            options.command = "version";
            return true;
        }
        if (IsCommand(word) && options.command.empty()) {
            options.command = word;
            continue;
        }
        if (NeedsValue(word)) {
            if (i + 1 >= arguments.size()) {
                error = word + " needs a value";
                return false;
            }
            const std::string& value = arguments[++i];
            if (word == "--data-dir") {
                options.dataDir = value;
            } else if (word == "--language") {
                options.language = value;
            } else if (word == "--server") {
                options.server = value;
            } else if (word == "--target") {
                options.target = value;
            } else if (word == "--project") {
                options.projects.push_back(value);
            } else if (word == "--password") {
                const std::size_t equals = value.find('=');
                if (equals == std::string::npos || equals == 0) {
                    error = "--password takes NAME=SECRET";
                    return false;
                }
                options.passwords[value.substr(0, equals)] = value.substr(equals + 1);
            } else {
                const auto parsed =
                    std::from_chars(value.data(), value.data() + value.size(), options.waitSeconds);
                if (parsed.ec != std::errc() || parsed.ptr != value.data() + value.size()) {
                    error = "--wait takes a number of seconds";
                    return false;
                }
            }
            continue;
        }
        if (word == "--allow-http") {
            options.allowHttp = true;
        } else if (word == "--no-target-check") {
            options.noTargetCheck = true;
        } else if (word == "--json") {
            options.json = true;
        } else {
            error = "unknown argument: " + word;
            return false;
        }
    }
    if (options.command.empty()) {
        error = "no command given";
        return false;
    }
    const bool syncing = options.command == "sync" || options.command == "watch";
    if ((syncing || options.command == "projects") && options.server.empty()) {
        error = options.command + " needs --server";
        return false;
    }
    if (syncing && options.target.empty()) {
        error = options.command + " needs --target";
        return false;
    }
    if (syncing && options.projects.empty()) {
        error = options.command + " needs at least one --project";
        return false;
    }
    return true;
}

}  // namespace tavrin::cli
