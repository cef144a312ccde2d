#pragma once

#include <string>

#include "server/server_config.h"

namespace tavrin::server {

// Parses the command line; false with a message on a usage error. `publishOnly` reads the
// arguments of "tavrin-server publish" instead (--out for --publish, no --listen or TLS).
bool ParseServerArguments(int argc, char** argv, ServerConfig& config, std::string& error,
                          bool publishOnly = false);

}  // namespace tavrin::server
