#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tavrin::test {

// A program the test starts and ends (ended at the latest with the object).
class ChildProgram {
public:
    ChildProgram() = default;
    ~ChildProgram() { Stop(); }
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    bool Start(const std::filesystem::path& program, const std::vector<std::string>& arguments);
    // Ends the program and waits until it is gone.
    void Stop();

private:
    long long process_ = 0;  // a pid, or a process HANDLE
};

// The idle program the build made (tests/support/idle_program), as this process reaches it.
std::filesystem::path IdleProgram();

}  // namespace tavrin::test
