#include "ui/thread_reaper.h"

#include <algorithm>

namespace tavrin {

namespace {

constexpr std::chrono::milliseconds kPollStep{10};

}  // namespace

ThreadReaper::~ThreadReaper() {
    JoinAll(kShutdownGrace);
}

void ThreadReaper::Retire(TrackedThread thread) {
    if (thread.Running()) {
        retired_.push_back(std::move(thread));
    }
    JoinFinished();
}

void ThreadReaper::JoinFinished() {
    std::erase_if(retired_, [](TrackedThread& thread) {
        if (!thread.Finished()) {
            return false;
        }
        thread.Join();  // its work is done: this returns at once
        return true;
    });
}

std::size_t ThreadReaper::JoinAll(std::chrono::milliseconds grace) {
    const auto deadline = std::chrono::steady_clock::now() + grace;
    JoinFinished();
    while (!retired_.empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(kPollStep);
        JoinFinished();
    }
    const std::size_t left = retired_.size();
    for (TrackedThread& thread : retired_) {
        thread.Abandon();
    }
    retired_.clear();
    return left;
}

}  // namespace tavrin
