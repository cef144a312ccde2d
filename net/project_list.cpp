#include "net/project_list.h"

#include <algorithm>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/unicode_trim.h"
#include "i18n/utf8_conversion.h"
#include "manifest/file_list_reader.h"
#include "manifest/json_document.h"
#include "net/http_request.h"

namespace tavrin {
namespace {

bool FailWith(std::wstring& errorText, std::string_view key, std::wstring_view argument) {
    errorText = FillPlaceholders(TrWide(key), {argument});
    return false;
}

bool Get(HttpSession& session, const wchar_t* path, std::string& body, std::uint32_t& status,
         const std::atomic<bool>* cancelFlag, std::wstring& errorText) {
    HttpRequest request;
    request.endpointPath = path;
    request.cancelFlag = cancelFlag;
    request.outBody = &body;
    HttpResult result;
    if (!ExecuteHttpRequest(session, request, result, errorText)) {
        return false;
    }
    status = result.status;
    return true;
}

}  // namespace

bool ParseProjectMetaList(std::string_view body, std::vector<ProjectInfo>& projects,
                          std::wstring& errorText) {
    projects.clear();
    nlohmann::json document;
    std::string parseError;
    if (!ParseJsonDocument(body, document, parseError)) {
        return FailWith(errorText, "error.project_list_parse", Utf8ToWide(parseError));
    }
    if (!document.is_array()) {
        return FailWith(errorText, "error.project_list_parse", Utf8ToWide(kJsonNoError));
    }
    for (const nlohmann::json& element : document) {
        ProjectInfo project;
        if (element.is_string()) {
            project.name = TrimUnicodeSpaces(element.get<std::string>());
        } else if (element.is_object()) {
            const auto name = element.find("name");
            if (name != element.end() && name->is_string()) {
                project.name = TrimUnicodeSpaces(name->get<std::string>());
            }
            const auto flag = element.find("requires_password");
            project.requiresPassword =
                flag != element.end() && flag->is_boolean() && flag->get<bool>();
        }
        if (!project.name.empty()) {
            projects.push_back(std::move(project));
        }
    }
    std::stable_sort(projects.begin(), projects.end(),
                     [](const ProjectInfo& a, const ProjectInfo& b) { return a.name < b.name; });
    return true;
}

bool FetchProjectList(std::wstring_view serverText, std::wstring_view clientId,
                      std::vector<ProjectInfo>& projects, std::wstring& errorText,
                      const std::atomic<bool>* cancelFlag) {
    std::wstring canonical;
    HttpSession session;
    if (!NormalizeServerUrlWithPolicy(serverText, canonical, errorText) ||
        !ParseServerEndpoint(canonical, session.endpoint, errorText)) {
        return false;
    }
    session.clientId = clientId;
    if (!OpenHttpSession(session, errorText, kProjectListTimeouts)) {
        return false;
    }
    std::string body;
    std::uint32_t status = 0;
    if (!Get(session, L"/list_projects_meta", body, status, cancelFlag, errorText)) {
        return false;
    }
    if (status == 200) {
        std::vector<ProjectInfo> parsed;
        if (!ParseProjectMetaList(body, parsed, errorText)) {
            return false;
        }
        projects = std::move(parsed);
        return true;
    }
    if (status != 404) {
        return FailWith(errorText, "error.list_projects_http", std::to_wstring(status));
    }
    // No meta list on this server: the plain list of names, in the server's order.
    if (!Get(session, L"/list_projects", body, status, cancelFlag, errorText)) {
        return false;
    }
    if (status != 200) {
        return FailWith(errorText, "error.list_projects_http", std::to_wstring(status));
    }
    FileListReader reader{body, 0};
    std::vector<std::string> names;
    FileListReadError readError;
    if (!ReadStringArray(reader, names, readError)) {
        return FailWith(errorText, "error.project_list_parse", Utf8ToWide(readError.message));
    }
    projects.clear();
    for (std::string& name : names) {
        projects.push_back({std::move(name), false});
    }
    return true;
}

}  // namespace tavrin
