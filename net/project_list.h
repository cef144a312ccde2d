#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

// A project a server offers.
struct ProjectInfo {
    std::string name;  // UTF-8, as the server gave it (trimmed in the meta list); never empty
    bool requiresPassword = false;
};

// Asks one server for its projects: "/list_projects_meta" (names with the password flag,
// sorted by their bytes), or "/list_projects" in the server's order when the server has no
// meta list (404). `projects` is replaced only on success. A set `cancelFlag` ends the
// requests early (see InterruptRequests).
bool FetchProjectList(std::wstring_view serverText, std::wstring_view clientId,
                      std::vector<ProjectInfo>& projects, std::wstring& errorText,
                      const std::atomic<bool>* cancelFlag = nullptr);

// Reads a meta list answer: names as strings or {"name", "requires_password"} objects.
bool ParseProjectMetaList(std::string_view body, std::vector<ProjectInfo>& projects,
                          std::wstring& errorText);

}  // namespace tavrin
