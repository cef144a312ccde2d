#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include "tests/support/child_program.h"

extern char** environ;

namespace tavrin::test {

bool ChildProgram::Start(const std::filesystem::path& program,
                         const std::vector<std::string>& arguments) {
    std::vector<std::string> words{program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv.data(), environ) != 0) {
        return false;
    }
    process_ = pid;
    return true;
}

void ChildProgram::Stop() {
    if (process_ > 0) {
        kill(static_cast<pid_t>(process_), SIGKILL);
        waitpid(static_cast<pid_t>(process_), nullptr, 0);
        process_ = 0;
    }
}

std::filesystem::path IdleProgram() {
    return TAVRIN_IDLE_PROGRAM;
}

}  // namespace tavrin::test
