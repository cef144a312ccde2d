#pragma once

#include <atomic>

#include "cli/cli_options.h"

namespace tavrin::cli {

// Exit statuses of tavrin-cli.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;

int RunProjectsCommand(const CliOptions& options);
int RunSyncCommand(const CliOptions& options, std::atomic<bool>& cancel);
int RunWatchCommand(const CliOptions& options, std::atomic<bool>& cancel);
int RunDroppedCommand(const CliOptions& options, std::atomic<bool>& cancel);
int RunFindGameCommand();

}  // namespace tavrin::cli
