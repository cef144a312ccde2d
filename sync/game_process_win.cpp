// Windows side of the game check: a snapshot of the processes and each one's image path.
#include <windows.h>

#include <tlhelp32.h>

#include <vector>

#include "sync/game_process.h"
#include "sync/path_safety.h"

namespace tavrin {
namespace {

bool ImageWithin(DWORD processId, std::wstring_view gameFolder) {
    const HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId);
    if (process == nullptr) {
        return false;  // another user's, or a protected one: not the player's game
    }
    std::vector<wchar_t> image(32768);
    DWORD size = static_cast<DWORD>(image.size());
    const bool named = QueryFullProcessImageNameW(process, 0, image.data(), &size) != 0;
    CloseHandle(process);
    return named && IsPathWithin(gameFolder, std::wstring_view(image.data(), size));
}

}  // namespace

bool IsGameRunning(std::wstring_view gameFolder) {
    if (gameFolder.empty()) {
        return false;
    }
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) {
        return false;
    }
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    bool running = false;
    for (BOOL more = Process32FirstW(snapshot, &entry); more && !running;
         more = Process32NextW(snapshot, &entry)) {
        running = entry.th32ProcessID != 0 && ImageWithin(entry.th32ProcessID, gameFolder);
    }
    CloseHandle(snapshot);
    return running;
}

}  // namespace tavrin
