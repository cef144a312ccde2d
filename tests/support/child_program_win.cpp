#include <windows.h>

#include "tests/support/child_program.h"

namespace tavrin::test {

bool ChildProgram::Start(const std::filesystem::path& program,
                         const std::vector<std::string>& arguments) {
    std::wstring line = L"\"" + program.wstring() + L"\"";
    for (const std::string& argument : arguments) {
        line += L" \"" + std::filesystem::path(argument).wstring() + L"\"";
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                        nullptr, nullptr, &startup, &started)) {
        return false;
    }
    CloseHandle(started.hThread);
    process_ = reinterpret_cast<long long>(started.hProcess);
    return true;
}

void ChildProgram::Stop() {
    if (process_ != 0) {
        const HANDLE process = reinterpret_cast<HANDLE>(process_);
        TerminateProcess(process, 1);
        WaitForSingleObject(process, 10000);
        CloseHandle(process);
        process_ = 0;
    }
}

// The build names it by its Linux path; Wine reaches / as Z:.
std::filesystem::path IdleProgram() {
    return std::filesystem::path(std::string("Z:") + TAVRIN_IDLE_PROGRAM).make_preferred();
}

}  // namespace tavrin::test
