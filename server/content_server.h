#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "server/server_config.h"

namespace tavrin::server {

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

}  // namespace tavrin::server
