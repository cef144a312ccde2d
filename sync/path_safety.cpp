#include "sync/path_safety.h"

#include <array>
#include <cwctype>
#include <filesystem>
#include <vector>

#include "base/trim_whitespace.h"
#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/system_error.h"
#include "sync/path_status.h"
#include "sync/target_tree.h"

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

bool IsSeparator(wchar_t c) {
    return c == L'/' || c == L'\\';
}

// The lexical normal form of a relative, non-empty server path, in time linear in its length: runs
// of separators folded, "." dropped, "x/.." removed with x, a leading ".." kept; a trailing
// separator survives as an empty last element, as the path library's normal form keeps it.
std::vector<std::wstring> NormalElements(std::wstring_view path) {
    std::vector<std::wstring_view> kept;
    bool trailing = false;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = start;
        while (end < path.size() && !IsSeparator(path[end])) {
            ++end;
        }
        const std::wstring_view element = path.substr(start, end - start);
        const bool separatorFollows = end < path.size();
        start = end + 1;
        if (element.empty()) {
            continue;
        }
        if (element == L".") {
            trailing = !kept.empty() && kept.back() != L"..";
        } else if (element == L"..") {
            if (!kept.empty() && kept.back() != L"..") {
                kept.pop_back();
                trailing = !kept.empty() && kept.back() != L"..";
            } else {
                kept.push_back(element);
                trailing = false;
            }
        } else {
            kept.push_back(element);
            trailing = separatorFollows;
        }
    }
    std::vector<std::wstring> elements;
    elements.reserve(kept.size() + 1);
    for (const std::wstring_view element : kept) {
        elements.emplace_back(element);
    }
    if (trailing) {
        elements.emplace_back();
    }
    if (elements.empty()) {
        elements.emplace_back(L".");
    }
    return elements;
}

std::wstring_view WithoutTrailingDotsAndSpaces(std::wstring_view name) {
    while (!name.empty() && (name.back() == L'.' || name.back() == L' ')) {
        name.remove_suffix(1);
    }
    return name;
}

bool EqualsIgnoringAsciiCase(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto lower = [](wchar_t c) {
            return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
        };
        if (lower(a[i]) != lower(b[i])) {
            return false;
        }
    }
    return true;
}

// Windows opens a device, not a file, for these names with any extension; an element named
// so is refused everywhere, so that a file list gets the same verdict on every platform.
bool IsReservedDeviceName(std::wstring_view element) {
    std::wstring_view stem = WithoutTrailingDotsAndSpaces(element);
    stem = stem.substr(0, stem.find(L'.'));
    while (!stem.empty() && stem.back() == L' ') {
        stem.remove_suffix(1);
    }
    for (const std::wstring_view name : {L"con", L"prn", L"aux", L"nul"}) {
        if (EqualsIgnoringAsciiCase(stem, name)) {
            return true;
        }
    }
    // COM0 to COM9 and LPT0 to LPT9, and the superscript digits Windows matches as well.
    const auto isPortDigit = [](wchar_t c) {
        return (c >= L'0' && c <= L'9') || c == L'\u00B9' || c == L'\u00B2' || c == L'\u00B3';
    };
    return stem.size() == 4 &&
           (EqualsIgnoringAsciiCase(stem.substr(0, 3), L"com") ||
            EqualsIgnoringAsciiCase(stem.substr(0, 3), L"lpt")) &&
           isPortDigit(stem[3]);
}

// Steps every resolution shares: the server's text becomes the elements the file system
// will be given, or is refused. Nothing here touches the disk.
bool CheckServerPathText(std::string_view serverPath, std::wstring_view target,
                         std::vector<std::wstring>& elements, std::wstring& errorText) {
    // A NUL ends the name for every system call: the checks below would see another name
    // than the one created.
    if (serverPath.find('\0') != std::string_view::npos) {
        return RefuseWithPath(errorText, "error.unsafe_server_file_path", serverPath);
    }
    const std::wstring wide = Utf8ToWide(serverPath);
    if (wide.empty()) {
        return Refuse(errorText, "error.empty_server_file_path");
    }
    // A leading separator survives normalising: rooted and UNC paths.
    if (IsSeparator(wide.front())) {
        return RefuseWithPath(errorText, "error.absolute_server_file_path", serverPath);
    }
    // Normalising comes first: a/../b is b, while ../b keeps its ".." and is refused below.
    elements = NormalElements(wide);
    for (const std::wstring& element : elements) {
        if (element.find(L':') != std::wstring::npos) {
            return RefuseWithPath(errorText, "error.absolute_server_file_path", serverPath);
        }
    }
    for (const std::wstring& element : elements) {
        if (element.empty() || element == L"." || element == L".." ||
            IsReservedDeviceName(element)) {
            return RefuseWithPath(errorText, "error.unsafe_server_file_path", serverPath);
        }
    }
    // The client's own suffix, on a file or on a folder that would take a temporary file's
    // name, compared as Windows compares names on every platform so a list gets one verdict.
    for (const std::wstring& element : elements) {
        const std::wstring_view name = WithoutTrailingDotsAndSpaces(element);
        if (name.size() >= kTemporarySuffix.size() &&
            EqualsIgnoringAsciiCase(name.substr(name.size() - kTemporarySuffix.size()),
                                    kTemporarySuffix)) {
            return RefuseWithPath(errorText, "error.unsafe_server_file_path", serverPath);
        }
    }
    // The run must hold the file and its temporary name beside it: a path or a name longer
    // than the file system takes is refused before anything is tried.
    std::size_t length = NativeLength(target) + kTemporarySuffix.size();
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const std::size_t name =
            NativeLength(elements[i]) + (i + 1 == elements.size() ? kTemporarySuffix.size() : 0);
        length += 1 + NativeLength(elements[i]);
        if (name > kMostNameUnits || length > kMostPathUnits) {
            return RefuseWithPath(errorText, "error.unsafe_server_file_path", serverPath);
        }
    }
    return true;
}

// No existing folder on the way to the file, nor the file, may be a link or reparse point.
bool CheckExistingElements(const std::wstring& target, const std::vector<std::wstring>& elements,
                           std::string_view serverPath, std::wstring& errorText) {
    std::wstring running = target;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (running.empty() || running.back() != kPathSeparator) {
            running += kPathSeparator;
        }
        running += elements[i];
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
                       std::wstring& localPath, std::wstring& errorText) {
    localPath.clear();
    const std::wstring target = NormalizePath(TrimWhitespace(targetFolder));
    if (target.empty()) {
        return Refuse(errorText, "error.invalid_target_folder");
    }
    // The folder's own name, without a trailing separator that would make the status read
    // follow a link standing there.
    std::wstring_view named = target;
    while (named.size() > 1 && named.back() == kPathSeparator) {
        named.remove_suffix(1);
    }
    const PathStatus targetStatus = ReadPathStatus(named);
    if (targetStatus.kind != PathKind::kDirectory) {
        return Refuse(errorText, "error.invalid_target_folder");
    }
    bool reparse = false;
    std::uint32_t code = 0;
    if (!IsReparsePoint(named, reparse, code)) {
        return RefuseWithCode(errorText, "error.invalid_target_folder", code);
    }
    if (reparse) {
        return RefuseWithPath(errorText, "error.file_path_left_target_blocked", serverPath);
    }

    std::vector<std::wstring> elements;
    if (!CheckServerPathText(serverPath, target, elements, errorText)) {
        return false;
    }
    if (!CheckExistingElements(target, elements, serverPath, errorText)) {
        return false;
    }
    std::wstring candidate = target;
    for (const std::wstring& element : elements) {
        if (candidate.back() != kPathSeparator) {
            candidate += kPathSeparator;
        }
        candidate += element;
    }
    if (!IsPathWithin(target, candidate)) {
        return RefuseWithPath(errorText, "error.file_path_left_target_blocked", serverPath);
    }
    if (IsBlockedExecutableType(candidate)) {
        return RefuseWithPath(errorText, "error.blocked_executable_type", serverPath);
    }
    localPath = candidate;
    return true;
}

bool ResolveServerPathInTree(TargetTree& tree, std::string_view serverPath, TreeFile& file,
                             std::wstring& errorText) {
    std::vector<std::wstring> elements;
    if (!CheckServerPathText(serverPath, tree.TopPath(), elements, errorText)) {
        return false;
    }
    // Existing folders on the way are opened from their parents, never through a link; the
    // tree keeps them open, so each is checked once per run rather than once per file.
    std::uint32_t folder = TargetTree::kTop;
    bool exists = true;
    std::shared_ptr<const NativeHandle> handle;
    for (std::size_t i = 0; i + 1 < elements.size(); ++i) {
        folder = tree.Child(folder, WideToUtf8(elements[i]));
        if (!exists) {
            continue;  // nothing below an absent folder exists either
        }
        const FolderOpenResult opened = tree.OpenFolder(folder, false, handle);
        switch (opened.outcome) {
            case FolderOutcome::kOpened:
                break;
            case FolderOutcome::kLink:
                return RefuseWithPath(errorText, "error.file_path_left_target_blocked", serverPath);
            case FolderOutcome::kFailed:
                return RefuseWithCode(errorText, "error.file_path_left_target_blocked",
                                      opened.errorCode);
            default:
                exists = false;
                break;
        }
    }
    std::string leaf = WideToUtf8(elements.back());
    if (exists) {
        if (!handle &&
            tree.OpenFolder(TargetTree::kTop, false, handle).outcome != FolderOutcome::kOpened) {
            return Refuse(errorText, "error.invalid_target_folder");
        }
        const EntryStatus status = ReadEntryStatus(*handle, leaf);
        if (status.kind == PathKind::kUnreadable) {
            return RefuseWithCode(errorText, "error.file_path_left_target_blocked",
                                  status.errorCode);
        }
        if (status.kind == PathKind::kLink) {
            return RefuseWithPath(errorText, "error.file_path_left_target_blocked", serverPath);
        }
    }
    if (IsBlockedExecutableType(elements.back())) {
        return RefuseWithPath(errorText, "error.blocked_executable_type", serverPath);
    }
    file.folder = folder;
    file.leaf = std::move(leaf);
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

bool IsUsableTargetFolder(std::wstring_view folder, bool validationEnabled) {
    const std::wstring trimmed = TrimWhitespace(folder);
    if (trimmed.empty()) {
        return false;
    }
    return validationEnabled ? IsGameFolder(trimmed) : IsDirectoryFollowingLinks(trimmed);
}

}  // namespace tavrin
