#pragma once

#include <chrono>
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
    // Between full rescans; 0 picks 300 s while file events report changes, else 2 s.
    double scanIntervalSeconds = 0;
    std::filesystem::path tlsCertificate;  // PEM chain; with tlsKey, the server speaks https
    std::filesystem::path tlsKey;
    std::filesystem::path stateFolder;    // hash cache and revision; empty: <root>/.tavrin-server
    std::filesystem::path publishFolder;  // when set, a static tree kept in step for a web server
    // How long the root must be still after an event before the changed folders are scanned.
    std::chrono::milliseconds eventQuiet{50};
};

// tavrin-server: publishes the folders under the root as projects over the client's HTTP
// interface. One I/O thread serves every connection asynchronously, so long polls cost no
// thread each; a second thread follows the root's file events (and rescans it on a timer as a
// safety net) and wakes the polls a change concerns.
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

// Parses the command line; false with a message on a usage error. `publishOnly` reads the
// arguments of "tavrin-server publish" instead (--out for --publish, no --listen or TLS).
bool ParseServerArguments(int argc, char** argv, ServerConfig& config, std::string& error,
                          bool publishOnly = false);

// False with a message when a static tree at `out` could overwrite or delete the root's own
// files: the same folder, or one inside the other.
bool CheckPublishFolder(const std::filesystem::path& root, const std::filesystem::path& out,
                        std::string& error);

// "tavrin-server publish": scans the root once and writes its static tree; the exit status.
int PublishOnce(const ServerConfig& config);

}  // namespace tavrin::server
