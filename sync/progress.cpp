#include "sync/progress.h"

#include <memory>
#include <mutex>

namespace tavrin {
namespace {

struct Sinks {
    std::mutex mutex;
    std::shared_ptr<const LogSink> log;
    std::shared_ptr<const ProgressSink> progress;
};

Sinks& ProcessSinks() {
    static Sinks sinks;
    return sinks;
}

}  // namespace

void InstallProgressSinks(LogSink log, ProgressSink progress) {
    auto newLog = std::make_shared<const LogSink>(std::move(log));
    auto newProgress = std::make_shared<const ProgressSink>(std::move(progress));
    Sinks& sinks = ProcessSinks();
    {
        std::lock_guard lock(sinks.mutex);
        newLog.swap(sinks.log);
        newProgress.swap(sinks.progress);
    }
    // The old pair dies here, outside the lock.
}

void PostProgress(const ProgressMessage& message) {
    std::shared_ptr<const ProgressSink> sink;
    {
        std::lock_guard lock(ProcessSinks().mutex);
        sink = ProcessSinks().progress;
    }
    if (sink && *sink) {
        (*sink)(message);
    }
}

void PostLog(std::wstring_view text, bool highlighted) {
    std::shared_ptr<const LogSink> sink;
    {
        std::lock_guard lock(ProcessSinks().mutex);
        sink = ProcessSinks().log;
    }
    if (sink && *sink) {
        (*sink)(highlighted ? std::wstring(kHighlightPrefix) + std::wstring(text)
                            : std::wstring(text));
    }
}

}  // namespace tavrin
