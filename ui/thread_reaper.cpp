#include "ui/thread_reaper.h"

namespace tavrin {

ThreadReaper::~ThreadReaper() {
    JoinAll();
}

void ThreadReaper::Retire(std::thread thread) {
    if (!thread.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        retired_.push_back(std::move(thread));
    }
    if (running_.load()) {
        return;
    }
    if (reaper_.joinable()) {
        reaper_.join();  // it has finished: running_ is cleared as its last act
    }
    running_.store(true);
    try {
        reaper_ = std::thread([this] { JoinRetired(); });
    } catch (const std::system_error&) {
        // No thread to spare: the retired ones are joined at shutdown instead.
        running_.store(false);
    }
}

void ThreadReaper::JoinRetired() {
    for (;;) {
        std::vector<std::thread> batch;
        {
            const std::lock_guard lock(mutex_);
            batch.swap(retired_);
            if (batch.empty()) {
                running_.store(false);
                return;
            }
        }
        for (std::thread& thread : batch) {
            thread.join();
        }
    }
}

void ThreadReaper::JoinAll() {
    if (reaper_.joinable()) {
        reaper_.join();
    }
    std::vector<std::thread> remaining;
    {
        const std::lock_guard lock(mutex_);
        remaining.swap(retired_);
    }
    for (std::thread& thread : remaining) {
        thread.join();
    }
}

}  // namespace tavrin
