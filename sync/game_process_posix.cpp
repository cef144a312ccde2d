// Linux side of the game check: every process's executable, and the Windows paths on the
// command line of Wine's processes, which is how the game runs under Proton.
#include <dirent.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>
#include <vector>

#include "i18n/utf8_conversion.h"
#include "sync/game_process.h"
#include "sync/path_safety.h"

namespace tavrin {
namespace {

// The game folder as given and with its links resolved, since /proc names the real file.
std::vector<std::wstring> FolderForms(std::wstring_view gameFolder) {
    std::vector<std::wstring> forms{std::wstring(gameFolder)};
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(WideToPath(gameFolder), error);
    if (!error && PathToWide(real) != forms.front()) {
        forms.push_back(PathToWide(real));
    }
    return forms;
}

bool WithinAny(const std::vector<std::wstring>& forms, const std::wstring& path) {
    for (const std::wstring& form : forms) {
        if (IsPathWithin(form, path)) {
            return true;
        }
    }
    return false;
}

bool ExecutableWithin(const std::string& pid, const std::vector<std::wstring>& forms) {
    std::array<char, 4096> target{};
    const std::string link = "/proc/" + pid + "/exe";
    const ssize_t length = readlink(link.c_str(), target.data(), target.size() - 1);
    return length > 0 && WithinAny(forms, Utf8ToWide(std::string(target.data(), length)));
}

bool CommandLineNamesFolder(const std::string& pid, const std::vector<std::wstring>& forms) {
    std::ifstream in("/proc/" + pid + "/cmdline", std::ios::binary);
    const std::string line((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::size_t start = 0;
    while (start < line.size()) {
        const std::size_t end = std::min(line.find('\0', start), line.size());
        const std::wstring path =
            LinuxPathOfDriveZ(std::string_view(line).substr(start, end - start));
        if (!path.empty()) {
            std::error_code error;
            const std::filesystem::path real =
                std::filesystem::weakly_canonical(WideToPath(path), error);
            if (WithinAny(forms, path) || (!error && WithinAny(forms, PathToWide(real)))) {
                return true;
            }
        }
        start = end + 1;
    }
    return false;
}

bool IsProcessNumber(const char* name) {
    for (const char* c = name; *c != '\0'; ++c) {
        if (std::isdigit(static_cast<unsigned char>(*c)) == 0) {
            return false;
        }
    }
    return *name != '\0';
}

}  // namespace

bool IsGameRunning(std::wstring_view gameFolder) {
    if (gameFolder.empty()) {
        return false;
    }
    const std::vector<std::wstring> forms = FolderForms(gameFolder);
    const std::unique_ptr<DIR, int (*)(DIR*)> processes(opendir("/proc"), closedir);
    if (!processes) {
        return false;
    }
    while (const dirent* entry = readdir(processes.get())) {
        if (!IsProcessNumber(entry->d_name)) {
            continue;
        }
        const std::string pid = entry->d_name;
        if (ExecutableWithin(pid, forms) || CommandLineNamesFolder(pid, forms)) {
            return true;
        }
    }
    return false;
}

}  // namespace tavrin
