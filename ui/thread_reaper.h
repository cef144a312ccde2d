#pragma once

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace tavrin {

// Joins threads that have been told to end but need not be waited for: a retired watcher or
// list loader ends by itself soon, and nobody on the window's thread should wait for it.
class ThreadReaper final {
public:
    ThreadReaper() = default;
    ~ThreadReaper();
    ThreadReaper(const ThreadReaper&) = delete;
    ThreadReaper& operator=(const ThreadReaper&) = delete;

    void Retire(std::thread thread);
    // Joins the reaper and every thread handed to it; for shutting down.
    void JoinAll();

private:
    void JoinRetired();

    std::mutex mutex_;
    std::vector<std::thread> retired_;
    std::thread reaper_;
    std::atomic<bool> running_{false};
};

}  // namespace tavrin
