#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace tavrin::server {

struct ServerConfig {
    std::filesystem::path root;
    std::string host = "127.0.0.1";
    std::uint16_t port = 8080;                     // 0 picks a free port
    std::map<std::string, std::string> passwords;  // project -> password
    double scanIntervalSeconds = 2.0;
    std::filesystem::path tlsCertificate;  // PEM chain; with tlsKey, the server speaks https
    std::filesystem::path tlsKey;
    std::filesystem::path stateFolder;  // hash cache and revision; empty: <root>/.tavrin-server
};

// tavrin-server: publishes the folders under the root as projects over the client's HTTP
// interface. One I/O thread serves every connection asynchronously, so long polls cost no
// thread each; a second thread rescans the root and wakes the polls a change concerns.
class ContentServer {
public:
    explicit ContentServer(ServerConfig config);
    ~ContentServer();

    // Binds the port and scans the root once; false with a message when it cannot listen.
    bool Start(std::string& error);
    std::uint16_t Port() const;
    // Serves until Stop() or SIGINT/SIGTERM (when `handleSignals`).
    void Run(bool handleSignals);
    void Stop();

    struct Impl;  // the server's state, shared with its connections

private:
    std::unique_ptr<Impl> impl_;
};

// Parses the command line; false with a message on a usage error.
bool ParseServerArguments(int argc, char** argv, ServerConfig& config, std::string& error);

}  // namespace tavrin::server
