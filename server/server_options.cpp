#include "server/server_options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <vector>

#include "server/password_file.h"

namespace tavrin::server {
namespace {

// A word of the command line that is refused, with the message for it.
struct Refused {
    std::string message;
};

std::string Incomplete(const std::string& word) {
    return "unknown or incomplete argument: " + word;
}

// Reads the command line with CLI11, held to the grammar operators' scripts were written for:
// an option and its value are two words (never "--option=value"), a word CLI11 does not know
// is refused, and of several faults the first in the command line is the one reported. So
// every option is handled the moment CLI11 reads it, after the words it passed over.
class ServerArgumentReader {
public:
    ServerArgumentReader(std::vector<std::string> words, ServerConfig& config,
                         std::vector<std::filesystem::path>& passwordFiles, bool publishOnly);

    bool Read(std::string& error);

private:
    void AddOption(const std::string& name, std::function<void(const std::string&)> apply);
    void RefuseExtras() const;
    void CheckSpelling(const std::string& name, const std::string& value) const;
    void SetListen(const std::string& value);
    void AddPassword(const std::string& value);

    std::vector<std::string> words_;
    std::vector<std::string> unread_;  // what CLI11 has still to read, the last word first
    ServerConfig& config_;
    CLI::App app_{"", "tavrin-server"};
};

ServerArgumentReader::ServerArgumentReader(std::vector<std::string> words, ServerConfig& config,
                                           std::vector<std::filesystem::path>& passwordFiles,
                                           bool publishOnly)
    : words_(std::move(words)), unread_(words_.rbegin(), words_.rend()), config_(config) {
    app_.set_help_flag();  // --help and --version are answered before any parsing
    app_.allow_extras();   // collected, then refused in their place by RefuseExtras
    app_.allow_windows_style_options(false);
    AddOption("--root", [this](const std::string& value) { config_.root = value; });
    AddOption(publishOnly ? "--out" : "--publish",
              [this](const std::string& value) { config_.publishFolder = value; });
    AddOption("--password", [this](const std::string& value) { AddPassword(value); });
    AddOption("--password-file",
              [&passwordFiles](const std::string& value) { passwordFiles.emplace_back(value); });
    AddOption("--state-dir", [this](const std::string& value) { config_.stateFolder = value; });
    if (publishOnly) {
        return;
    }
    AddOption("--listen", [this](const std::string& value) { SetListen(value); });
    AddOption("--tls-cert", [this](const std::string& value) { config_.tlsCertificate = value; });
    AddOption("--tls-key", [this](const std::string& value) { config_.tlsKey = value; });
    AddOption("--scan-interval", [this](const std::string& value) {
        config_.scanIntervalSeconds = std::max(0.1, std::atof(value.c_str()));
    });
}

void ServerArgumentReader::AddOption(const std::string& name,
                                     std::function<void(const std::string&)> apply) {
    const auto read = [this, name, apply](const CLI::results_t& results) {
        RefuseExtras();
        CheckSpelling(name, results.back());
        apply(results.back());
        return true;
    };
    app_.add_option(name, read)
        ->trigger_on_parse()
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

// The words CLI11 did not know, passed over so far: the first of them is the first fault.
void ServerArgumentReader::RefuseExtras() const {
    const std::vector<std::string> extras = app_.remaining();
    if (!extras.empty()) {
        throw Refused{Incomplete(extras.front())};
    }
}

// CLI11 also takes "--option=value", and "--option=" with the value in the next word.
void ServerArgumentReader::CheckSpelling(const std::string& name, const std::string& value) const {
    const std::size_t read = words_.size() - unread_.size();
    if (words_[read - 1] != value) {
        throw Refused{Incomplete(words_[read - 1])};
    }
    if (words_[read - 2] != name) {
        throw Refused{Incomplete(words_[read - 2])};
    }
}

void ServerArgumentReader::SetListen(const std::string& value) {
    const std::size_t colon = value.rfind(':');
    std::uint64_t port = 0;
    if (colon == std::string::npos ||
        std::from_chars(value.data() + colon + 1, value.data() + value.size(), port).ec !=
            std::errc() ||
        port > 65535) {
        throw Refused{"--listen takes HOST:PORT"};
    }
    config_.host = value.substr(0, colon);
    config_.port = static_cast<std::uint16_t>(port);
}

void ServerArgumentReader::AddPassword(const std::string& value) {
    const std::size_t equals = value.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw Refused{"--password takes PROJECT=SECRET"};
    }
    config_.passwords[value.substr(0, equals)] = value.substr(equals + 1);
}

bool ServerArgumentReader::Read(std::string& error) {
    try {
        app_.parse(unread_);
        RefuseExtras();
    } catch (const Refused& refused) {
        error = refused.message;
        return false;
    } catch (const CLI::ParseError&) {
        // An option without its value, which can only be the last word, unless a word CLI11
        // did not know came before it.
        const std::vector<std::string> extras = app_.remaining();
        error = Incomplete(extras.empty() ? words_.back() : extras.front());
        return false;
    }
    return true;
}

}  // namespace

bool ParseServerArguments(int argc, char** argv, ServerConfig& config, std::string& error,
                          bool publishOnly) {
    std::vector<std::string> words;
    for (int i = publishOnly ? 2 : 1; i < argc; ++i) {
        words.emplace_back(argv[i]);
    }
    std::vector<std::filesystem::path> passwordFiles;
    if (!ServerArgumentReader(std::move(words), config, passwordFiles, publishOnly).Read(error)) {
        return false;
    }
    if (config.root.empty()) {
        error = "--root is required";
        return false;
    }
    if (publishOnly && config.publishFolder.empty()) {
        error = "--out is required";
        return false;
    }
    // After the whole command line: a --password given there wins over any file.
    for (const std::filesystem::path& file : passwordFiles) {
        if (!ReadPasswordFile(file, config.passwords, error)) {
            return false;
        }
    }
    if (config.tlsCertificate.empty() != config.tlsKey.empty()) {
        error = "--tls-cert and --tls-key go together";
        return false;
    }
    return true;
}

}  // namespace tavrin::server
