#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "sync/thread_start.h"

namespace tavrin {

// A thread that tells when its work has ended, so it can be joined without waiting, or left
// to end by itself when it is stuck in a wait that nothing can cut short (a synchronous
// WinHTTP receive under Wine ignores a close from another thread). Whatever such a thread
// still touches after its wait must be owned by the thread itself or shared with it.
class TrackedThread final {
public:
    template <typename Body>
    bool Start(std::wstring& errorText, Body body) {
        finished_ = std::make_shared<std::atomic<bool>>(false);
        return StartThread(thread_, errorText,
                           [finished = finished_, body = std::move(body)]() mutable {
                               body();
                               finished->store(true);
                           });
    }
    bool Running() const { return thread_.joinable(); }
    bool Finished() const { return finished_ == nullptr || finished_->load(); }
    void Join() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    void Abandon() {
        if (thread_.joinable()) {
            thread_.detach();
        }
    }

private:
    std::thread thread_;
    std::shared_ptr<std::atomic<bool>> finished_;
};

// Holds threads that have been told to end but need not be waited for (a retired watcher, a
// cancelled list load, a cancelled run) and joins each once it has ended, without blocking
// the window's thread.
class ThreadReaper final {
public:
    ThreadReaper() = default;
    ~ThreadReaper();
    ThreadReaper(const ThreadReaper&) = delete;
    ThreadReaper& operator=(const ThreadReaper&) = delete;

    // Takes the thread and joins those retired earlier that have ended.
    void Retire(TrackedThread thread);
    // Joins every retired thread that ends within `grace`; the others are left to end by
    // themselves (shutting down). Returns how many were left.
    std::size_t JoinAll(std::chrono::milliseconds grace);
    std::size_t Held() const { return retired_.size(); }

private:
    void JoinFinished();

    std::vector<TrackedThread> retired_;
};

// How long a quit waits for threads that were told to end.
inline constexpr std::chrono::milliseconds kShutdownGrace{500};

}  // namespace tavrin
