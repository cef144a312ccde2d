#pragma once

#include <filesystem>
#include <string>

#include "server/server_config.h"

namespace tavrin::server {

// False with a message when a static tree at `out` could overwrite or delete the root's own
// files: the same folder, or one inside the other.
bool CheckPublishFolder(const std::filesystem::path& root, const std::filesystem::path& out,
                        std::string& error);

// "tavrin-server publish": scans the root once and writes its static tree; the exit status.
int PublishOnce(const ServerConfig& config);

}  // namespace tavrin::server
