#include "sync/path_safety.h"

#include <array>
#include <cwctype>
#include <filesystem>
#include <vector>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/system_error.h"
#include "sync/path_status.h"
#include "sync/trim_whitespace.h"

namespace tavrin {
namespace {

constexpr std::array<std::wstring_view, 20> kBlockedExtensions = {
    L".bat", L".cmd", L".com", L".cpl", L".dll",  L".exe", L".hta", L".js",  L".jse", L".lnk",
    L".msc", L".msi", L".msp", L".ps1", L".psm1", L".reg", L".scr", L".sys", L".vbe", L".vbs"};

// The client's own suffix for temporary files; a listed file of that name would be taken
// for a stale temporary file of its neighbour and deleted.
constexpr std::wstring_view kTemporarySuffix = L".tavrin_tmp";

bool Refuse(std::wstring& errorText, std::string_view key) {
    errorText = TrWide(key);
    return false;
}

bool RefuseWithPath(std::wstring& errorText, std::string_view key, std::string_view serverPath) {
    errorText = FillPlaceholders(TrWide(key), {Utf8ToWide(serverPath)});
    return false;
}

bool RefuseWithCode(std::wstring& errorText, std::string_view key, std::uint32_t code) {
    errorText = FormatSystemError(key, code);
    return false;
}

std::vector<std::wstring> Elements(std::wstring_view path) {
    std::vector<std::wstring> elements;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = path.find(kPathSeparator, start);
        elements.emplace_back(path.substr(start, end - start));
        if (end == std::wstring_view::npos) {
            return elements;
        }
        start = end + 1;
    }
}

bool IsSeparator(wchar_t c) {
    return c == L'/' || c == L'\\';
}

// No existing folder on the way to the file, nor the file, may be a link or reparse point.
bool CheckExistingElements(const std::wstring& target, const std::vector<std::wstring>& elements,
                           std::string_view serverPath, std::wstring& errorText,
                           VerifiedFolders* verifiedFolders) {
    std::wstring running = target;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (running.empty() || running.back() != kPathSeparator) {
            running += kPathSeparator;
        }
        running += elements[i];
        const bool isFolder = i + 1 < elements.size();
        if (isFolder && verifiedFolders != nullptr && verifiedFolders->count(running) > 0) {
            continue;
        }
        const PathStatus status = ReadPathStatus(running);
        if (status.kind == PathKind::kUnreadable) {
            return RefuseWithCode(errorText, "error.file_path_left_target_blocked",
                                  status.errorCode);
        }
        if (status.kind == PathKind::kAbsent) {
            continue;
        }
        bool reparse = false;
        std::uint32_t code = 0;
        if (!IsReparsePoint(running, reparse, code)) {
            return RefuseWithCode(errorText, "error.file_path_left_target_blocked", code);
        }
        if (reparse || status.kind == PathKind::kLink) {
            return RefuseWithPath(errorText, "error.file_path_left_target_blocked", serverPath);
        }
        if (isFolder && verifiedFolders != nullptr && status.kind == PathKind::kDirectory) {
            verifiedFolders->insert(running);
        }
    }
    return true;
}

}  // namespace

std::wstring NormalizePath(std::wstring_view path) {
    std::wstring text(path);
    for (wchar_t& c : text) {
        if (IsSeparator(c)) {
            c = kPathSeparator;
        }
    }
    if (text.empty()) {
        return text;
    }
    std::wstring normal = PathToWide(WideToPath(text).lexically_normal());
    for (wchar_t& c : normal) {
        if (IsSeparator(c)) {
            c = kPathSeparator;
        }
    }
    return normal;
}

bool IsPathWithin(std::wstring_view base, std::wstring_view candidate) {
    const std::wstring normalBase = NormalizePath(base);
    const std::wstring normalCandidate = NormalizePath(candidate);
    if (normalBase.empty() || normalCandidate.empty()) {
        return false;
    }
    if (SamePathText(normalBase, normalCandidate)) {
        return true;
    }
    std::wstring prefix = normalBase;
    if (prefix.back() != kPathSeparator) {
        prefix += kPathSeparator;
    }
    return normalCandidate.size() > prefix.size() &&
           SamePathText(std::wstring_view(normalCandidate).substr(0, prefix.size()), prefix);
}

bool IsBlockedExecutableType(std::wstring_view path) {
    std::wstring_view text = path;
    while (!text.empty() && (text.back() == L'.' || text.back() == L' ')) {
        text.remove_suffix(1);
    }
    if (text.empty()) {
        return false;
    }
    const std::size_t lastSeparator = text.find_last_of(L"/\\");
    const std::wstring_view name =
        lastSeparator == std::wstring_view::npos ? text : text.substr(lastSeparator + 1);
    if (name.size() <= 1 || name == L"..") {
        return false;
    }
    const std::size_t dot = name.rfind(L'.');
    if (dot == std::wstring_view::npos || dot == 0) {
        return false;
    }
    std::wstring extension(name.substr(dot));
    for (wchar_t& c : extension) {
        c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    }
    for (const std::wstring_view blocked : kBlockedExtensions) {
        if (extension == blocked) {
            return true;
        }
    }
    return false;
}

bool ResolveServerPath(std::wstring_view targetFolder, std::string_view serverPath,
                       std::wstring& localPath, std::wstring& errorText,
                       VerifiedFolders* verifiedFolders) {
    localPath.clear();
    const std::wstring target = NormalizePath(TrimWhitespace(targetFolder));
    if (target.empty()) {
        return Refuse(errorText, "error.invalid_target_folder");
    }
    if (verifiedFolders == nullptr || verifiedFolders->count(target) == 0) {
        const PathStatus targetStatus = ReadPathStatus(target);
        if (targetStatus.kind != PathKind::kDirectory) {
            return Refuse(errorText, "error.invalid_target_folder");
        }
        bool reparse = false;
        std::uint32_t code = 0;
        if (!IsReparsePoint(target, reparse, code)) {
            return RefuseWithCode(errorText, "error.invalid_target_folder", code);
        }
        if (reparse) {
            return RefuseWithPath(errorText, "error.file_path_left_target_blocked", serverPath);
        }
        if (verifiedFolders != nullptr) {
            verifiedFolders->insert(target);
        }
    }

    // Normalising comes first: a/../b is b, while ../b keeps its ".." and is refused below.
    const std::wstring relative = NormalizePath(Utf8ToWide(serverPath));
    if (relative.empty()) {
        return Refuse(errorText, "error.empty_server_file_path");
    }
    if (relative.front() == kPathSeparator || relative.front() == L'\\' ||
        relative.find(L':') != std::wstring::npos) {
        return RefuseWithPath(errorText, "error.absolute_server_file_path", serverPath);
    }
    const std::vector<std::wstring> elements = Elements(relative);
    for (const std::wstring& element : elements) {
        if (element.empty() || element == L"." || element == L"..") {
            return RefuseWithPath(errorText, "error.unsafe_server_file_path", serverPath);
        }
    }
    if (relative.size() >= kTemporarySuffix.size() &&
        SamePathText(std::wstring_view(relative).substr(relative.size() - kTemporarySuffix.size()),
                     kTemporarySuffix)) {
        return RefuseWithPath(errorText, "error.unsafe_server_file_path", serverPath);
    }
    if (!CheckExistingElements(target, elements, serverPath, errorText, verifiedFolders)) {
        return false;
    }
    std::wstring joined = target;
    if (joined.back() != kPathSeparator) {
        joined += kPathSeparator;
    }
    const std::wstring candidate = NormalizePath(joined + relative);
    if (!IsPathWithin(target, candidate)) {
        return RefuseWithPath(errorText, "error.file_path_left_target_blocked", serverPath);
    }
    if (IsBlockedExecutableType(candidate)) {
        return RefuseWithPath(errorText, "error.blocked_executable_type", serverPath);
    }
    localPath = candidate;
    return true;
}

bool IsGameFolder(std::wstring_view folder) {
    if (!IsDirectoryFollowingLinks(folder)) {
        return false;
    }
    std::wstring base(folder);
    if (!base.empty() && base.back() != L'/' && base.back() != L'\\') {
        base += kPathSeparator;
    }
    const PathStatus program = ReadPathStatus(base + L"AssettoCorsa.exe");
    const PathStatus content = ReadPathStatus(base + L"content");
    return program.kind == PathKind::kFile &&
           (content.kind == PathKind::kDirectory || content.kind == PathKind::kOther);
}

}  // namespace tavrin
