#include "cli/cli_options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <functional>
#include <utility>

namespace tavrin::cli {
namespace {

// A word of the command line that is refused, with the message for it.
struct Refused {
    std::string message;
};

// --help or --version was read: the rest of the command line does not count.
struct Answered {};

bool IsCommand(const std::string& word) {
    return word == "projects" || word == "sync" || word == "watch" || word == "find-game";
}

// Reads the command line with CLI11, held to the grammar scripts were written for: options
// before or after the command, an option and its value as two words (never "--option=value"),
// any other word refused, and of several faults the first in the command line reported. So
// every option is handled the moment CLI11 reads it, after the words it passed over.
class CliArgumentReader {
public:
    CliArgumentReader(const std::vector<std::string>& words, CliOptions& options);

    bool Read(std::string& error);

private:
    void AddOption(const std::string& name, std::function<void(const std::string&)> apply);
    void AddFlag(const std::string& names, std::vector<std::string> spellings,
                 std::function<void()> apply);
    std::size_t WordsRead() const { return words_.size() - unread_.size(); }
    void TakePassedWords();
    void CheckSpelling(const std::string& name, const std::string& value) const;
    void AddPassword(const std::string& value);
    void SetWait(const std::string& value);
    std::string MissingValue();

    std::vector<std::string> words_;
    std::vector<std::string> unread_;  // what CLI11 has still to read, the last word first
    std::size_t passedTaken_ = 0;      // of the words CLI11 passed over, those taken already
    CliOptions& options_;
    CLI::App app_{"", "tavrin-cli"};
};

CliArgumentReader::CliArgumentReader(const std::vector<std::string>& words, CliOptions& options)
    : words_(words), unread_(words.rbegin(), words.rend()), options_(options) {
    app_.set_help_flag();  // answered by AddFlag below, in its place on the command line
    app_.allow_extras();   // the command and unknown words, taken by TakePassedWords
    app_.allow_windows_style_options(false);
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
    AddFlag("--allow-http", {"--allow-http"}, [this] { options_.allowHttp = true; });
    AddFlag("--no-target-check", {"--no-target-check"}, [this] { options_.noTargetCheck = true; });
    AddFlag("--json", {"--json"}, [this] { options_.json = true; });
}

void CliArgumentReader::AddOption(const std::string& name,
                                  std::function<void(const std::string&)> apply) {
    const auto read = [this, name, apply](const CLI::results_t& results) {
        TakePassedWords();
        CheckSpelling(name, results.back());
        apply(results.back());
        return true;
    };
    app_.add_option(name, read)
        ->trigger_on_parse()
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void CliArgumentReader::AddFlag(const std::string& names, std::vector<std::string> spellings,
                                std::function<void()> apply) {
    const auto read = [this, spellings, apply](const CLI::results_t&) {
        TakePassedWords();
        // CLI11 also takes "--flag=value", and "-h" run together with more letters.
        const std::string& word = words_[WordsRead() - 1];
        if (std::find(spellings.begin(), spellings.end(), word) == spellings.end()) {
            throw Refused{"unknown argument: " + word};
        }
        apply();
        return true;
    };
    app_.add_option(names, read)
        ->expected(0)
        ->trigger_on_parse()
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

// The words CLI11 passed over, in their order: the command, else the first fault.
void CliArgumentReader::TakePassedWords() {
    const std::vector<std::string> passed = app_.remaining();
    for (; passedTaken_ < passed.size(); ++passedTaken_) {
        const std::string& word = passed[passedTaken_];
        if (!IsCommand(word) || !options_.command.empty()) {
            throw Refused{"unknown argument: " + word};
        }
        options_.command = word;
    }
}

// CLI11 also takes "--option=value", and "--option=" with the value in the next word.
void CliArgumentReader::CheckSpelling(const std::string& name, const std::string& value) const {
    const std::size_t read = WordsRead();
    if (words_[read - 1] != value) {
        throw Refused{"unknown argument: " + words_[read - 1]};
    }
    if (words_[read - 2] != name) {
        throw Refused{"unknown argument: " + words_[read - 2]};
    }
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

// CLI11 found an option without its value, which only the last word can be.
std::string CliArgumentReader::MissingValue() {
    try {
        TakePassedWords();
    } catch (const Refused& refused) {
        return refused.message;
    }
    const std::string& last = words_.back();
    const CLI::Option* option = app_.get_option_no_throw(last);
    return option != nullptr && option->get_expected_min() > 0 ? last + " needs a value"
                                                               : "unknown argument: " + last;
}

bool CliArgumentReader::Read(std::string& error) {
    try {
        app_.parse(unread_);
        TakePassedWords();
    } catch (const Answered&) {
        return true;
    } catch (const Refused& refused) {
        error = refused.message;
        return false;
    } catch (const CLI::ParseError&) {
        error = MissingValue();
        return false;
    }
    return true;
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
