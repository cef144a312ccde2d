#pragma once

#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace tavrin {

// "error.thread_start_failed" with the system's reason.
std::wstring ThreadStartFailure(const std::error_code& code);

// Starts a thread; when the system has none to give, false with the translated reason, so
// the work fails as a run fails instead of ending the program.
template <typename... Body>
bool StartThread(std::thread& thread, std::wstring& errorText, Body&&... body) {
    try {
        thread = std::thread(std::forward<Body>(body)...);
        return true;
    } catch (const std::system_error& failure) {
        errorText = ThreadStartFailure(failure.code());
        return false;
    }
}

}  // namespace tavrin
