#include "net/file_list_fetch.h"

#include "base/trim_whitespace.h"
#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "manifest/file_list_reader.h"
#include "net/http_request.h"
#include "net/manifest_cache.h"
#include "net/percent_encoding.h"

namespace tavrin {
namespace {

constexpr int kMostPrompts = 3;

struct Answer {
    std::uint32_t status = 0;
    std::string body;
    std::wstring etag;
    std::wstring lastModified;
};

bool Request(HttpSession& session, const std::wstring& path, const std::wstring& headers,
             const std::atomic<bool>* cancelFlag, Answer& answer, std::wstring& errorText) {
    HttpRequest request;
    request.endpointPath = path;
    request.outBody = &answer.body;
    request.cancelFlag = cancelFlag;
    request.extraHeaders = headers;
    request.outETag = &answer.etag;
    request.outLastModified = &answer.lastModified;
    HttpResult result;
    if (!ExecuteHttpRequest(session, request, result, errorText)) {
        return false;
    }
    answer.status = result.status;
    return true;
}

bool ReadList(const std::string& body, std::vector<FileListEntry>& entries,
              FileListReadError& error) {
    FileListReader reader{body, 0};
    return ReadFileList(reader, entries, error);
}

std::wstring PasswordFor(const ProjectPasswords& passwords, const std::string& project) {
    const auto it = passwords.find(project);
    return it == passwords.end() ? std::wstring() : it->second;
}

}  // namespace

std::wstring HeaderSafePassword(std::wstring_view password) {
    std::wstring text = TrimWhitespace(password);
    std::erase_if(text, [](wchar_t c) { return c == L'\r' || c == L'\n'; });
    return text;
}

std::wstring FileListHeaders(const std::wstring& password, const std::wstring& etag,
                             const std::wstring& lastModified, bool forceFull) {
    std::wstring headers;
    if (!password.empty()) {
        headers += L"X-Project-Password: " + HeaderSafePassword(password) + L"\r\n";
    }
    if (!forceFull && !etag.empty()) {
        headers += L"If-None-Match: " + etag + L"\r\n";
    }
    if (!forceFull && !lastModified.empty()) {
        headers += L"If-Modified-Since: " + lastModified + L"\r\n";
    }
    return headers;
}

namespace {

// Asks for the list until the server takes the password, the player gives up, or the third
// prompt has been answered (the 401 then stands; the last password is kept for the next run).
bool RequestWithPasswords(HttpSession& session, const std::wstring& path,
                          const std::string& project, const CachedManifest& cached,
                          ProjectPasswords& passwords, const PasswordPrompt& prompt, bool forceFull,
                          const std::atomic<bool>* cancelFlag, Answer& answer,
                          std::wstring& errorText) {
    for (int prompts = 0;;) {
        const std::wstring headers = FileListHeaders(PasswordFor(passwords, project), cached.etag,
                                                     cached.lastModified, forceFull);
        if (!Request(session, path, headers, cancelFlag, answer, errorText)) {
            return false;
        }
        if (answer.status != 401) {
            return true;
        }
        const bool passwordSent = !PasswordFor(passwords, project).empty();
        std::wstring entered;
        if (!prompt.ask || !prompt.ask(project, passwordSent, entered)) {
            errorText = FillPlaceholders(TrWide(passwordSent ? "error.project_password_invalid"
                                                             : "error.project_password_required"),
                                         {Utf8ToWide(project)});
            return false;
        }
        passwords[project] = entered;
        if (prompt.remember) {
            prompt.remember(project, entered);
        }
        if (++prompts >= kMostPrompts) {
            return true;
        }
    }
}

// A whole list that came: read, and kept with its validators for the next conditional request.
bool TakeWholeList(std::wstring_view serverText, const std::string& project,
                   const CachedManifest& cached, const Answer& answer,
                   std::vector<FileListEntry>& entries, std::wstring& errorText,
                   std::vector<FileListEntry>* replaced) {
    FileListReadError readError;
    if (!ReadList(answer.body, entries, readError)) {
        errorText = FillPlaceholders(TrWide("error.file_list_invalid_for_project"),
                                     {Utf8ToWide(project), Utf8ToWide(readError.message)});
        return false;
    }
    // A damaged cached list tells nothing of what was listed before.
    if (replaced != nullptr && !cached.body.empty() &&
        !ReadList(cached.body, *replaced, readError)) {
        replaced->clear();
    }
    const bool hasValidators = !answer.etag.empty() || !answer.lastModified.empty();
    std::wstring ignored;
    WriteManifestCache(serverText, project, answer.body, hasValidators ? answer.etag : cached.etag,
                       hasValidators ? answer.lastModified : cached.lastModified, ignored);
    return true;
}

}  // namespace

bool FetchFileList(HttpSession& session, std::wstring_view serverText, const std::string& project,
                   ProjectPasswords& passwords, const PasswordPrompt& prompt, bool forceFull,
                   const std::atomic<bool>* cancelFlag, std::vector<FileListEntry>& entries,
                   bool& fromCache, std::wstring& errorText, std::vector<FileListEntry>* replaced) {
    fromCache = false;
    const std::wstring path = L"/file_list/" + Utf8ToWide(PercentEncode(project));
    const CachedManifest cached = ReadManifestCache(serverText, project);
    Answer answer;
    if (!RequestWithPasswords(session, path, project, cached, passwords, prompt, forceFull,
                              cancelFlag, answer, errorText)) {
        return false;
    }
    if (answer.status == 304) {
        FileListReadError readError;
        if (!cached.body.empty() && ReadList(cached.body, entries, readError)) {
            fromCache = true;
            return true;
        }
        // The cached list is gone or damaged: ask once more for the whole list.
        const std::wstring headers =
            FileListHeaders(PasswordFor(passwords, project), L"", L"", true);
        if (!Request(session, path, headers, cancelFlag, answer, errorText)) {
            return false;
        }
    }
    if (answer.status == 200) {
        return TakeWholeList(serverText, project, cached, answer, entries, errorText, replaced);
    }
    errorText = FillPlaceholders(TrWide("error.file_list_http_for_project"),
                                 {Utf8ToWide(project), std::to_wstring(answer.status)});
    return false;
}

}  // namespace tavrin
