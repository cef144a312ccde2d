// tavrin-cli: the engine without a window. See README for the commands.
#include <atomic>

#include "app/app_paths.h"
#include "app/ini_file.h"
#include "cli/cli_options.h"
#include "cli/commands.h"
#include "cli/terminal.h"
#include "cli/window_defaults.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/server_endpoint.h"

namespace {

// --language, else the window's "General/language", else English.
void ApplyLanguage(const tavrin::cli::CliOptions& options) {
    std::string code = options.language.value_or("");
    if (code.empty()) {
        code = tavrin::WideToUtf8(
            tavrin::ReadIniValue(tavrin::SettingsFilePath(), L"General", L"language"));
    }
    if (!tavrin::SetLanguage(code.empty() ? "en" : code)) {
        tavrin::SetLanguage("en");
    }
}

}  // namespace

int main(int argc, char** argv) {
    using namespace tavrin::cli;
    CliOptions options;
    std::string error;
    if (!ParseCliOptions(Utf8Arguments(argc, argv), options, error)) {
        WriteErr("tavrin-cli: " + error + "\n\n" + CliUsage());
        return kExitUsage;
    }
    if (options.command == "help") {
        WriteOut(CliUsage());
        return kExitOk;
    }
    if (options.command == "version") {
        WriteOut("tavrin-cli " TAVRIN_VERSION "\n");
        return kExitOk;
    }
    if (options.dataDir) {
        SetEnvironmentValue("TAVRIN_DATA_DIR", *options.dataDir);
    }
    ApplyLanguage(options);
    tavrin::plainHttpAllowed = options.allowHttp;
    std::atomic<bool> cancel{false};
    RaiseFlagOnInterrupt(cancel);
    if (options.command == "projects") {
        return RunProjectsCommand(options);
    }
    if (options.command == "sync" || options.command == "watch") {
        std::vector<CliOptions> runs;
        if (!PlanSyncRuns(options, tavrin::SettingsFilePath(), runs, error)) {
            WriteErr("tavrin-cli: " + error + "\n\n" + CliUsage());
            return kExitUsage;
        }
        tavrin::plainHttpAllowed = runs.front().allowHttp;
        return options.command == "sync" ? RunSyncCommand(runs, cancel)
                                         : RunWatchCommand(runs.front(), cancel);
    }
    if (options.command == "dropped") {
        return RunDroppedCommand(options, cancel);
    }
    return RunFindGameCommand();
}
