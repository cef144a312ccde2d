#pragma once

#include <atomic>
#include <vector>

#include "cli/cli_options.h"

namespace tavrin::cli {

// Exit statuses of tavrin-cli.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;

int RunProjectsCommand(const CliOptions& options);
// One run per server, in turn; the status of the first that failed, else 0.
int RunSyncCommand(const std::vector<CliOptions>& runs, std::atomic<bool>& cancel);
int RunWatchCommand(const CliOptions& options, std::atomic<bool>& cancel);
int RunDroppedCommand(const CliOptions& options, std::atomic<bool>& cancel);
int RunFindGameCommand();

}  // namespace tavrin::cli
