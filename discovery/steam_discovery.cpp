#include "discovery/steam_discovery.h"

#include "base/file_io.h"
#include "i18n/ascii_text.h"
#include "i18n/utf8_conversion.h"
#include "sync/path_safety.h"
#include "sync/path_status.h"

namespace tavrin {
namespace {

std::wstring Join(std::wstring folder, std::wstring_view name) {
    if (!folder.empty() && folder.back() != L'/' && folder.back() != L'\\') {
        folder += kPathSeparator;
    }
    return folder + std::wstring(name);
}

std::wstring WithSingleBackslashes(std::string text) {
    std::string single;
    for (std::size_t i = 0; i < text.size(); ++i) {
        single.push_back(text[i]);
        if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '\\') {
            ++i;
        }
    }
    return Utf8ToWide(single);
}

}  // namespace

void AddUnique(std::vector<std::wstring>& folders, std::wstring folder) {
    if (folder.empty()) {
        return;
    }
    for (const std::wstring& present : folders) {
        if (SamePathText(present, folder)) {
            return;
        }
    }
    folders.push_back(std::move(folder));
}

std::vector<std::string> ReadVdfTokens(std::wstring_view path) {
    const std::string bytes = ReadWholeFile(WideToPath(path)).value_or("");
    std::vector<std::string> tokens;
    std::size_t position = 0;
    while (true) {
        const std::size_t open = bytes.find('"', position);
        if (open == std::string::npos) {
            break;
        }
        const std::size_t close = bytes.find('"', open + 1);
        if (close == std::string::npos) {
            break;
        }
        tokens.push_back(bytes.substr(open + 1, close - open - 1));
        position = close + 1;
    }
    return tokens;
}

std::optional<std::string> ReadVdfValue(std::wstring_view path, std::string_view key) {
    const std::vector<std::string> tokens = ReadVdfTokens(path);
    for (std::size_t i = 0; i + 1 < tokens.size(); ++i) {
        if (EqualIgnoringAsciiCase(tokens[i], key)) {
            return tokens[i + 1];
        }
    }
    return std::nullopt;
}

std::vector<std::wstring> SteamLibraries(const std::vector<std::wstring>& roots) {
    std::vector<std::wstring> libraries;
    for (const std::wstring& root : roots) {
        AddUnique(libraries, root);
        const std::vector<std::string> tokens =
            ReadVdfTokens(Join(Join(root, L"steamapps"), L"libraryfolders.vdf"));
        for (std::size_t i = 0; i + 1 < tokens.size(); ++i) {
            if (tokens[i] == "path") {
                AddUnique(libraries, WithSingleBackslashes(tokens[i + 1]));
            }
        }
    }
    return libraries;
}

std::optional<std::wstring> FindGameFolderInSteamRoots(const std::vector<std::wstring>& roots) {
    for (const std::wstring& library : SteamLibraries(roots)) {
        const std::wstring common = Join(Join(library, L"steamapps"), L"common");
        const std::optional<std::string> installDir = ReadVdfValue(
            Join(Join(library, L"steamapps"), L"appmanifest_244210.acf"), "installdir");
        if (installDir && !installDir->empty()) {
            const std::wstring named = Join(common, Utf8ToWide(*installDir));
            if (IsGameFolder(named)) {
                return named;
            }
        }
        const std::wstring standard = Join(common, L"assettocorsa");
        if (IsGameFolder(standard)) {
            return standard;
        }
    }
    return std::nullopt;
}

std::optional<std::wstring> FindGameFolderViaSteam() {
    return FindGameFolderInSteamRoots(SteamRoots());
}

}  // namespace tavrin
