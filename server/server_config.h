#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
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

}  // namespace tavrin::server
