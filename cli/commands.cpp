#include "cli/commands.h"

#include <chrono>
#include <optional>
#include <random>
#include <thread>

#include "app/app_paths.h"
#include "app/client_id.h"
#include "app/fnv1a.h"
#include "app/revision_store.h"
#include "cli/cli_output.h"
#include "cli/terminal.h"
#include "discovery/steam_discovery.h"
#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/change_feed.h"
#include "net/project_list.h"
#include "sync/auto_sync_rules.h"
#include "sync/download.h"
#include "sync/game_process.h"
#include "sync/path_safety.h"
#include "sync/progress_format.h"
#include "sync/sync_run.h"

namespace tavrin::cli {
namespace {

constexpr int kGameCheckMs = 2000;

void PrintError(const std::wstring& text) {
    WriteErr(WideToUtf8(ForTheCommandLine(text)) + "\n");
}

// On a terminal the user is asked; otherwise there is no password and the run fails with the
// password key. The CLI never stores what was entered.
PasswordPrompt TerminalPrompt() {
    PasswordPrompt prompt;
    prompt.ask = [](const std::string& project, bool retry, std::wstring& password) {
        if (!StdinIsTerminal()) {
            return false;
        }
        if (retry) {
            WriteErr(WideToUtf8(FillPlaceholders(TrWide("error.project_password_invalid"),
                                                 {Utf8ToWide(project)})) +
                     "\n");
        }
        std::string line;
        if (!ReadSecretLine("Password for project " + project + ": ", line) || line.empty()) {
            return false;
        }
        password = Utf8ToWide(line);
        return true;
    };
    return prompt;
}

ServerSyncRequest BuildRequest(const CliOptions& options, const std::atomic<bool>& cancel) {
    ServerSyncRequest request;
    request.serverUrl = Utf8ToWide(options.server);
    request.clientId = ClientId(SettingsFilePath());
    request.projects = options.projects;
    for (const auto& [project, password] : options.passwords) {
        request.passwords[project] = Utf8ToWide(password);
    }
    request.targetFolder = Utf8ToWide(options.target);
    request.cancelFlag = &cancel;
    request.prompt = TerminalPrompt();
    return request;
}

// The engine's log lines and progress, as this command shows them.
ProgressSinks SinksOf(CliOutput& output) {
    return {[&output](const std::wstring& line) { output.Log(line); },
            [&output](const ProgressMessage& message) { output.Progress(message); },
            [&output](const std::string& project, const std::vector<std::string>& paths) {
                output.Dropped(project, paths);
            }};
}

// One run with its output; the exit status.
int SyncOnce(const CliOptions& options, std::atomic<bool>& cancel, CliOutput& output) {
    if (!options.noTargetCheck && !IsGameFolder(Utf8ToWide(options.target))) {
        const std::wstring error = TrWide("error.invalid_target_folder");
        output.Result(false, error, 0, 0, 0, 0);
        PrintError(error);
        return kExitFailed;
    }
    ServerSyncRequest request = BuildRequest(options, cancel);
    request.sinks = SinksOf(output);
    std::optional<RateLimit> limit;
    if (options.limitRate != 0) {
        request.rateLimit = &limit.emplace(options.limitRate);
    }
    request.sinks.Log(FillPlaceholders(TrWide("log.syncing_server"), {Utf8ToWide(options.server)}),
                      true);
    // A sync asked for by hand goes on, but says what the running game may keep from it.
    if (IsGameRunning(Utf8ToWide(options.target))) {
        output.GameRunning(TrWide("log.game_running_sync_anyway"));
    }
    SyncRunResult result;
    std::wstring error;
    const bool ok = RunServerSync(request, result, error);
    std::wstring message = error;
    if (ok) {
        message = FillPlaceholders(
            TrWide("log.sync_summary"),
            {L"1", std::to_wstring(result.filesListed), std::to_wstring(result.filesUpToDate),
             std::to_wstring(result.filesDownloaded), std::to_wstring(result.bytesDownloaded),
             FormatBytes(result.bytesDownloaded)});
    }
    output.Result(ok, message, result.filesListed, result.filesUpToDate, result.filesDownloaded,
                  result.bytesDownloaded);
    if (!ok) {
        PrintError(error);
        return cancel.load() ? kExitInterrupted : kExitFailed;
    }
    return kExitOk;
}

bool Sleep(std::atomic<bool>& cancel, int milliseconds) {
    return SleepCancellable(&cancel, milliseconds);
}

// The server's address as the revision store keys it; as given when it is not valid.
std::wstring CanonicalServer(const std::wstring& server) {
    std::wstring canonical = server;
    std::wstring ignored;
    NormalizeServerUrlWithPolicy(server, canonical, ignored);
    return canonical;
}

// watch never syncs under a running game: it waits, saying so once, until the game is closed.
// False when the wait was interrupted.
bool WaitWhileGameRuns(const CliOptions& options, std::atomic<bool>& cancel,
                       const ProgressSinks& sinks) {
    bool said = false;
    while (IsGameRunning(Utf8ToWide(options.target))) {
        if (!said) {
            sinks.Log(TrWide("log.auto_sync_waiting_for_game"));
            said = true;
        }
        if (!Sleep(cancel, kGameCheckMs)) {
            return false;
        }
    }
    return !cancel.load();
}

}  // namespace

int RunProjectsCommand(const CliOptions& options) {
    std::vector<ProjectInfo> projects;
    std::wstring error;
    if (!FetchProjectList(Utf8ToWide(options.server), ClientId(SettingsFilePath()), projects,
                          error)) {
        PrintError(error);
        return kExitFailed;
    }
    std::string out;
    for (const ProjectInfo& project : projects) {
        out += project.name + "\t" + (project.requiresPassword ? "password" : "open") + "\n";
    }
    WriteOut(out);
    return kExitOk;
}

int RunSyncCommand(const std::vector<CliOptions>& runs, std::atomic<bool>& cancel) {
    CliOutput output(runs.front().json, !runs.front().json && StderrIsTerminal());
    int status = kExitOk;
    for (const CliOptions& run : runs) {
        const int ran = SyncOnce(run, cancel, output);
        status = status == kExitOk ? ran : status;
        if (ran == kExitInterrupted) {
            break;
        }
    }
    return status;
}

int RunWatchCommand(const CliOptions& options, std::atomic<bool>& cancel) {
    CliOutput output(options.json, !options.json && StderrIsTerminal());
    const ProgressSinks sinks = SinksOf(output);
    const std::filesystem::path settings = SettingsFilePath();
    const std::wstring clientId = ClientId(settings);
    const std::wstring server = Utf8ToWide(options.server);
    const std::wstring canonical = CanonicalServer(server);
    const std::uint64_t identity = Fnv1a64(WideToUtf8(canonical + L"|" + clientId));
    std::mt19937_64 random(
        identity ^
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()));
    std::uint64_t revision = ReadAutoSyncRevision(settings, canonical);
    if (!WaitWhileGameRuns(options, cancel, sinks)) {
        return kExitInterrupted;
    }
    sinks.Log(FillPlaceholders(TrWide("log.auto_sync_started_with_reason"),
                               {TrWide("reason.initial_sync")}),
              true);
    SyncOnce(options, cancel, output);  // watch goes on after a failed run
    int failures = 0;
    auto lastUnreachableLog = std::chrono::steady_clock::time_point{};
    Sleep(cancel, StartStaggerMs(identity));
    while (!cancel.load()) {
        ChangeFeedResult result;
        result.revision = revision;
        std::wstring error;
        if (!PollChanges(server, clientId, revision, options.waitSeconds, options.projects, result,
                         error, &cancel)) {
            if (cancel.load()) {
                break;
            }
            ++failures;
            const auto now = std::chrono::steady_clock::now();
            if (failures == 1 || now - lastUnreachableLog >= std::chrono::seconds(30)) {
                sinks.Log(FillPlaceholders(TrWide("log.auto_sync_server_unreachable"), {error}));
                lastUnreachableLog = now;
            }
            Sleep(cancel, FailurePauseMs(failures, random()));
            continue;
        }
        failures = 0;
        if (!ReportsChange(revision, result)) {
            Sleep(cancel, QuietPauseMs(result));
            continue;
        }
        if (!WaitWhileGameRuns(options, cancel, sinks)) {
            break;
        }
        revision = result.revision;
        WriteAutoSyncRevision(settings, canonical, revision);
        sinks.Log(
            FillPlaceholders(TrWide("log.auto_sync_started_with_reason"),
                             {FillPlaceholders(TrWide("reason.server_reports_changes"), {server})}),
            true);
        SyncOnce(options, cancel, output);
        Sleep(cancel, JitterAfterChangeMs(identity) + 750);
    }
    ReleaseChangeFeedConnection();
    return kExitInterrupted;
}

int RunDroppedCommand(const CliOptions& options, std::atomic<bool>& cancel) {
    const ServerSyncRequest request = BuildRequest(options, cancel);
    std::vector<std::string> paths;
    std::wstring error;
    if (!ListDroppedFiles(request, paths, error)) {
        PrintError(error);
        return cancel.load() ? kExitInterrupted : kExitFailed;
    }
    std::string out;
    for (const std::string& path : paths) {
        out += path + "\n";
    }
    WriteOut(out);
    return kExitOk;
}

int RunFindGameCommand() {
    const std::optional<std::wstring> folder = FindGameFolderViaSteam();
    if (!folder) {
        return kExitFailed;
    }
    WriteOut(WideToUtf8(*folder) + "\n");
    return kExitOk;
}

}  // namespace tavrin::cli
