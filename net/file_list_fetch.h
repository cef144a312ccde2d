#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "manifest/file_list_entry.h"
#include "net/http_session.h"

namespace tavrin {

// Project name (UTF-8) -> password. A password is sent only when it is not empty.
using ProjectPasswords = std::map<std::string, std::wstring>;

// How a run asks the user for a project's password: `ask` gets the project and whether a
// password had been sent (so the prompt can say it was refused) and returns false when the
// user cancels; `remember` is told of every password the user entered, so it can be kept.
// Both are called on the fetching thread and may block it until the user answers.
struct PasswordPrompt {
    std::function<bool(const std::string& project, bool retry, std::wstring& password)> ask;
    std::function<void(const std::string& project, const std::wstring& password)> remember;
};

// The header lines of a file-list request: the project's password (trimmed, line breaks
// removed, so it can never add a header line), then the validators unless `forceFull`.
std::wstring FileListHeaders(const std::wstring& password, const std::wstring& etag,
                             const std::wstring& lastModified, bool forceFull);

// Fetches a project's file list: conditionally (answered from the manifest cache on 304),
// asking for a password on 401 (at most three prompts), and caching every good list. When a
// new list replaces a cached one, `replaced` (if given) receives the cached list. On failure
// `errorText` is translated and ready for the log.
bool FetchFileList(HttpSession& session, std::wstring_view serverText, const std::string& project,
                   ProjectPasswords& passwords, const PasswordPrompt& prompt, bool forceFull,
                   const std::atomic<bool>* cancelFlag, std::vector<FileListEntry>& entries,
                   bool& fromCache, std::wstring& errorText,
                   std::vector<FileListEntry>* replaced = nullptr);

// A password as it goes into a header: trimmed, every CR and LF removed.
std::wstring HeaderSafePassword(std::wstring_view password);

}  // namespace tavrin
