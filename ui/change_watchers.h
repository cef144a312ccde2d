#pragma once

#include <QObject>
#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ui/thread_reaper.h"

namespace tavrin {

// One server a watcher follows.
struct WatchedServer {
    QString name;
    QString url;
    std::vector<std::string> projects;  // UTF-8
    std::uint64_t revision = 0;         // the last one known; changes are those after it
};

// What the watchers tell, on the receiver's thread. Reports of a generation that has been
// stopped never arrive.
struct WatcherReports {
    std::function<void(const QString& url, std::uint64_t revision, const QString& reason)> changed;
    // The feed answered after failing: the server is back.
    std::function<void(const QString& url)> answeredAgain;
    std::function<void(const QString& line)> log;
};

// One long-polling thread per server, all of one generation. Starting anew stops the old
// generation first: its polls are cut short from outside, its threads go to the reaper.
class ChangeWatchers final {
public:
    ChangeWatchers(QObject* receiver, std::wstring clientId, ThreadReaper& reaper,
                   WatcherReports reports);
    ~ChangeWatchers();
    ChangeWatchers(const ChangeWatchers&) = delete;
    ChangeWatchers& operator=(const ChangeWatchers&) = delete;

    // Stops the current generation and starts one watcher per server. False with the reason
    // when the system could not start a thread (the others run).
    bool Start(const std::vector<WatchedServer>& servers, QString& error);
    // Ends the current generation; its threads go to the reaper.
    void Stop();
    int Running() const { return running_->load(); }

private:
    struct Generation;
    QObject* receiver_;
    std::wstring clientId_;
    ThreadReaper& reaper_;
    WatcherReports reports_;
    std::shared_ptr<Generation> current_;
    std::vector<TrackedThread> threads_;
    std::shared_ptr<std::atomic<int>> running_;
};

}  // namespace tavrin
