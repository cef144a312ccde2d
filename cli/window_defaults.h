#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/cli_options.h"

namespace tavrin::cli {

// The runs a sync or watch command stands for, one per server. What the command line leaves
// out is taken from the window's settings file: the servers with ticked projects, their ticked
// projects, the game folder, the remembered passwords and the HTTP lock. Options given on the
// command line win. False with a usage error that names what is still missing.
bool PlanSyncRuns(const CliOptions& options, const std::filesystem::path& settingsFile,
                  std::vector<CliOptions>& runs, std::string& error);

}  // namespace tavrin::cli
