#include "cli/cli_options.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <utility>

#include "base/strict_options.h"
#include "net/rate_limit.h"

namespace tavrin::cli {
namespace {

bool IsCommand(const std::string& word) {
    return word == "projects" || word == "sync" || word == "watch" || word == "dropped" ||
           word == "find-game";
}

std::string UnknownArgument(const std::string& word) {
    return "unknown argument: " + word;
}

// Options before or after the command, held to the strict grammar.
class CliArgumentReader final : public StrictOptionReader {
public:
    CliArgumentReader(const std::vector<std::string>& words, CliOptions& options);

private:
    std::string Unknown(const std::string& word) const override { return UnknownArgument(word); }
    void TakePassedWords() override;
    std::string MissingValue() override;
    void AddPassword(const std::string& value);
    void SetWait(const std::string& value);

    std::size_t passedTaken_ = 0;  // of the words CLI11 passed over, those taken already
    CliOptions& options_;
};

CliArgumentReader::CliArgumentReader(const std::vector<std::string>& words, CliOptions& options)
    : StrictOptionReader(words, "tavrin-cli"), options_(options) {
    AddFlag("-h,--help", {"-h", "--help"}, [this] {
        options_.command = "help";
        throw Answered{};
    });
    AddFlag("--version", {"--version"}, [this] {
        options_.command = "version";
        throw Answered{};
    });
    AddOption("--data-dir", [this](const std::string& value) { options_.dataDir = value; });
    AddOption("--language", [this](const std::string& value) { options_.language = value; });
    AddOption("--server", [this](const std::string& value) { options_.server = value; });
    AddOption("--target", [this](const std::string& value) { options_.target = value; });
    AddOption("--project",
              [this](const std::string& value) { options_.projects.push_back(value); });
    AddOption("--password", [this](const std::string& value) { AddPassword(value); });
    AddOption("--wait", [this](const std::string& value) { SetWait(value); });
    AddOption("--limit-rate", [this](const std::string& value) {
        if (!ParseRate(value, options_.limitRate)) {
            throw Refused{"--limit-rate takes a rate in bytes per second, such as 500K or 4M"};
        }
    });
    AddFlag("--allow-http", {"--allow-http"}, [this] { options_.allowHttp = true; });
    AddFlag("--no-target-check", {"--no-target-check"}, [this] { options_.noTargetCheck = true; });
    AddFlag("--json", {"--json"}, [this] { options_.json = true; });
}

// The words CLI11 passed over, in their order: the command, else the first fault.
void CliArgumentReader::TakePassedWords() {
    const std::vector<std::string> passed = PassedWords();
    for (; passedTaken_ < passed.size(); ++passedTaken_) {
        const std::string& word = passed[passedTaken_];
        if (!IsCommand(word) || !options_.command.empty()) {
            throw Refused{UnknownArgument(word)};
        }
        options_.command = word;
    }
}

std::string CliArgumentReader::MissingValue() {
    try {
        TakePassedWords();
    } catch (const Refused& refused) {
        return refused.message;
    }
    const std::string& last = Words().back();
    return TakesValue(last) ? last + " needs a value" : UnknownArgument(last);
}

void CliArgumentReader::AddPassword(const std::string& value) {
    const std::size_t equals = value.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw Refused{"--password takes NAME=SECRET"};
    }
    options_.passwords[value.substr(0, equals)] = value.substr(equals + 1);
}

void CliArgumentReader::SetWait(const std::string& value) {
    const auto parsed =
        std::from_chars(value.data(), value.data() + value.size(), options_.waitSeconds);
    if (parsed.ec != std::errc() || parsed.ptr != value.data() + value.size()) {
        throw Refused{"--wait takes a number of seconds"};
    }
}

}  // namespace

std::string CliUsage() {
    return "Usage: tavrin-cli [--data-dir DIR] [--language CODE] COMMAND [OPTIONS]\n"
           "\n"
           "Commands:\n"
           "  projects --server URL [--allow-http]\n"
           "  sync     [--server URL] [--target DIR] [--project NAME]...\n"
           "           [--password NAME=SECRET]... [--allow-http] [--no-target-check] [--json]\n"
           "           [--limit-rate RATE]\n"
           "  watch    (the options of sync) [--wait SECONDS]\n"
           "           (sync and watch take what is not given from the window's settings)\n"
           "  dropped  --server URL --target DIR --project NAME [--project NAME]...\n"
           "           [--password NAME=SECRET]... [--allow-http]\n"
           "  find-game\n"
           "  --help, --version\n";
}

bool ParseCliOptions(const std::vector<std::string>& arguments, CliOptions& options,
                     std::string& error) {
    if (!CliArgumentReader(arguments, options).Read(error)) {
        return false;
    }
    if (options.command == "help" || options.command == "version") {
        return true;
    }
    if (options.command.empty()) {
        error = "no command given";
        return false;
    }
    // sync and watch take what they are not given from the window's settings, once the data
    // folder is known.
    const bool listing = options.command == "dropped";
    if ((listing || options.command == "projects") && options.server.empty()) {
        error = options.command + " needs --server";
        return false;
    }
    if (listing && options.target.empty()) {
        error = options.command + " needs --target";
        return false;
    }
    if (listing && options.projects.empty()) {
        error = options.command + " needs at least one --project";
        return false;
    }
    return true;
}

}  // namespace tavrin::cli
