#include "cli/window_defaults.h"

#include <algorithm>
#include <cctype>

#include "app/window_settings_file.h"

namespace tavrin::cli {
namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// A server as the settings key it: lower case, without a trailing slash.
std::string ServerKey(const std::string& url) {
    std::string key = Lower(url);
    while (!key.empty() && key.back() == '/') {
        key.pop_back();
    }
    return key;
}

const std::vector<std::string>* TickedOn(const WindowSyncSettings& settings,
                                         const std::string& server) {
    for (const auto& [url, projects] : settings.tickedProjects) {
        if (ServerKey(url) == ServerKey(server)) {
            return &projects;
        }
    }
    return nullptr;
}

// One server's run: the command line's projects, else the ticked ones, with the passwords
// the window remembers for those the command line gives none.
bool PlanServer(const CliOptions& options, const WindowSyncSettings& settings,
                const std::string& server, CliOptions& run, std::string& error) {
    run = options;
    run.server = server;
    if (run.projects.empty()) {
        if (const std::vector<std::string>* ticked = TickedOn(settings, server)) {
            run.projects = *ticked;
        }
    }
    if (run.projects.empty()) {
        error = options.command + " needs at least one --project (the window's settings tick " +
                "no project on " + server + ")";
        return false;
    }
    for (const std::string& project : run.projects) {
        const auto remembered = settings.passwords.find(ServerKey(server) + "|" + Lower(project));
        if (!run.passwords.contains(project) && remembered != settings.passwords.end()) {
            run.passwords[project] = remembered->second;
        }
    }
    return true;
}

}  // namespace

bool PlanSyncRuns(const CliOptions& options, const std::filesystem::path& settingsFile,
                  std::vector<CliOptions>& runs, std::string& error) {
    WindowSyncSettings settings;
    const bool haveSettings = ReadWindowSyncSettings(settingsFile, settings);
    std::vector<std::string> servers;
    if (!options.server.empty()) {
        servers.push_back(options.server);
    } else {
        for (const auto& [url, projects] : settings.tickedProjects) {
            servers.push_back(url);
        }
    }
    if (servers.empty()) {
        error = options.command + " needs --server (" +
                (haveSettings ? "the window's settings tick no project"
                              : "there are no window settings in " + settingsFile.string()) +
                ")";
        return false;
    }
    CliOptions base = options;
    base.target = !options.target.empty() ? options.target : settings.targetFolder;
    base.allowHttp = options.allowHttp || (haveSettings && !settings.httpLockEnabled);
    if (base.target.empty()) {
        error = options.command + " needs --target (the window's settings have no game folder)";
        return false;
    }
    runs.clear();
    for (const std::string& server : servers) {
        CliOptions run;
        if (!PlanServer(base, settings, server, run, error)) {
            return false;
        }
        runs.push_back(std::move(run));
    }
    if (options.command == "watch" && runs.size() > 1) {
        error = "watch follows one server; the window's settings tick projects on " +
                std::to_string(runs.size()) + ": give --server";
        return false;
    }
    return true;
}

}  // namespace tavrin::cli
