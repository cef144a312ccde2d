#include "server/server_options.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <vector>

#include "base/strict_options.h"
#include "server/password_file.h"

namespace tavrin::server {
namespace {

std::string Incomplete(const std::string& word) {
    return "unknown or incomplete argument: " + word;
}

// The server's options, held to the strict grammar; it has no command, so every word that is
// no option is refused.
class ServerArgumentReader final : public StrictOptionReader {
public:
    ServerArgumentReader(std::vector<std::string> words, ServerConfig& config,
                         std::vector<std::filesystem::path>& passwordFiles, bool publishOnly);

private:
    std::string Unknown(const std::string& word) const override { return Incomplete(word); }
    void TakePassedWords() override;
    std::string MissingValue() override;
    void SetListen(const std::string& value);
    void AddPassword(const std::string& value);

    ServerConfig& config_;
};

ServerArgumentReader::ServerArgumentReader(std::vector<std::string> words, ServerConfig& config,
                                           std::vector<std::filesystem::path>& passwordFiles,
                                           bool publishOnly)
    : StrictOptionReader(std::move(words), "tavrin-server"), config_(config) {
    // --help and --version are answered before any parsing.
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

// The words CLI11 did not know, passed over so far: the first of them is the first fault.
void ServerArgumentReader::TakePassedWords() {
    const std::vector<std::string> extras = PassedWords();
    if (!extras.empty()) {
        throw Refused{Incomplete(extras.front())};
    }
}

// An option without its value, which can only be the last word, unless a word CLI11 did not
// know came before it.
std::string ServerArgumentReader::MissingValue() {
    const std::vector<std::string> extras = PassedWords();
    return Incomplete(extras.empty() ? Words().back() : extras.front());
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
