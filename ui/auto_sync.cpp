// The auto-sync controller: one watcher thread per selected server long-polls its change feed
// and asks the window for an automatic run when the server reports something new.
#include <QCoreApplication>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <optional>
#include <random>
#include <thread>

#include "app/fnv1a.h"
#include "i18n/translator.h"
#include "net/change_feed.h"
#include "sync/auto_sync_rules.h"
#include "ui/tavrin_qt_window.h"
#include "ui/ui_text.h"

namespace tavrin {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPollWaitSeconds = 8;
constexpr int kSliceMs = 100;
constexpr int kAfterChangeMs = 750;
constexpr auto kUnreachableLogGap = std::chrono::seconds(30);

// What one watcher needs, copied on the window's thread when it starts.
struct WatchedServer {
    QString name;
    QString url;
    std::vector<std::string> projects;
    std::wstring clientId;
    std::uint64_t generation = 0;
    std::uint64_t revision = 0;
};

// The flags a watcher reads; they belong to the window, which joins every watcher (directly
// or through its reaper) before it goes.
struct WatcherFlags {
    const std::atomic<std::uint64_t>* generation;
    const std::atomic<bool>* shuttingDown;
    std::atomic<int>* running;
};

class Watcher {
public:
    Watcher(QPointer<TavrinQtWindow> window, WatchedServer server, WatcherFlags flags)
        : window_(std::move(window)), server_(std::move(server)), flags_(flags) {}

    void Run() {
        const std::uint64_t identity =
            Fnv1a64(server_.url.trimmed().toLower().toStdString() + "|" +
                    QString::fromStdWString(server_.clientId).toStdString());
        std::mt19937_64 random(identity);
        const std::wstring url = server_.url.trimmed().toStdWString();
        int failures = 0;
        std::optional<Clock::time_point> lastUnreachableLine;
        // Watchers started together do not all knock at once.
        SleepWhileCurrent(StartStaggerMs(identity));
        while (IsCurrent()) {
            ChangeFeedResult result;
            std::wstring error;
            const bool polled =
                PollChanges(url, server_.clientId, server_.revision, kPollWaitSeconds,
                            server_.projects, result, error, flags_.shuttingDown);
            if (!IsCurrent()) {
                break;
            }
            if (!polled) {
                ++failures;
                const Clock::time_point now = Clock::now();
                if (!lastUnreachableLine || now - *lastUnreachableLine >= kUnreachableLogGap) {
                    lastUnreachableLine = now;
                    PostLogLine(Text("log.auto_sync_server_unreachable")
                                    .arg(QString::fromStdWString(error)));
                }
                SleepWhileCurrent(FailurePauseMs(failures, random()));
                continue;
            }
            failures = 0;
            if (!ReportsChange(server_.revision, result)) {
                SleepWhileCurrent(QuietPauseMs(result));
                continue;
            }
            server_.revision = result.revision;
            PostChange(Text("reason.server_reports_changes").arg(server_.name));
            SleepWhileCurrent(JitterAfterChangeMs(identity) + kAfterChangeMs);
        }
        ReleaseChangeFeedConnection();
    }

private:
    bool IsCurrent() const {
        return !flags_.shuttingDown->load() && flags_.generation->load() == server_.generation;
    }

    // Sleeps in slices, so a restart or shutdown ends the watcher within one slice.
    void SleepWhileCurrent(int milliseconds) const {
        const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
        while (IsCurrent()) {
            const Clock::time_point now = Clock::now();
            if (now >= end) {
                return;
            }
            std::this_thread::sleep_for(
                std::min<Clock::duration>(end - now, std::chrono::milliseconds(kSliceMs)));
        }
    }

    void PostLogLine(const QString& line) const {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [window = window_, line] {
                if (window != nullptr && !window->IsShuttingDown()) {
                    window->AppendLog(line, false);
                }
            },
            Qt::QueuedConnection);
    }

    void PostChange(const QString& reason) const {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [window = window_, url = server_.url, revision = server_.revision, reason] {
                if (window != nullptr) {
                    window->OnServerChanged(url, revision, reason);
                }
            },
            Qt::QueuedConnection);
    }

    QPointer<TavrinQtWindow> window_;
    WatchedServer server_;
    WatcherFlags flags_;
};

}  // namespace

QStringList TavrinQtWindow::AutoSyncSelection() const {
    return !settings_.autoSyncProjects.isEmpty() ? settings_.autoSyncProjects
                                                 : settings_.selectedProjects;
}

void TavrinQtWindow::RestartAutoSync(bool joinOld) {
    const std::uint64_t generation = autoSyncGeneration_.fetch_add(1) + 1;
    for (std::thread& watcher : autoSyncThreads_) {
        if (!watcher.joinable()) {
            continue;
        }
        if (joinOld) {
            watcher.join();
        } else {
            RetireThread(std::move(watcher));
        }
    }
    autoSyncThreads_.clear();
    if (!settings_.autoSyncEnabled || shuttingDown_.load()) {
        return;
    }
    const std::vector<ServerWorkItem> items =
        BuildServerWorkItems(SelectedServers(settings_), AutoSyncSelection());
    std::map<QString, quint64> revisions;
    {
        const std::lock_guard<std::mutex> lock(revisionsMutex_);
        revisions = settings_.autoSyncRevisions;
    }
    for (const ServerWorkItem& item : items) {
        WatchedServer server{item.serverName,          item.serverUrl, item.projects,
                             clientId_.toStdWString(), generation,     0};
        const auto known = revisions.find(item.serverUrl.trimmed().toLower());
        if (known != revisions.end()) {
            server.revision = known->second;
        }
        const WatcherFlags flags{&autoSyncGeneration_, &shuttingDown_, &runningWatchers_};
        runningWatchers_.fetch_add(1);
        autoSyncThreads_.emplace_back(
            [self = QPointer<TavrinQtWindow>(this), server = std::move(server), flags]() mutable {
                Watcher(self, std::move(server), flags).Run();
                flags.running->fetch_sub(1);
            });
    }
}

void TavrinQtWindow::SetAutoSyncActive(bool active) {
    settings_.autoSyncEnabled = active;
    RefreshAutoSyncBadge();
    ScheduleSettingsSave();
}

void TavrinQtWindow::OnServerChanged(const QString& serverUrl, quint64 revision,
                                     const QString& reason) {
    if (shuttingDown_.load() || !settings_.autoSyncEnabled) {
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(revisionsMutex_);
        settings_.autoSyncRevisions[serverUrl.trimmed().toLower()] = revision;
    }
    ScheduleRevisionsSave();
    followUpPending_ = true;
    if (busy_.load() || starting_.load()) {
        AppendLog(Text("log.auto_sync_change_queued"), false);
        return;
    }
    RequestSync(true, reason);
}

void TavrinQtWindow::StartInitialAutoSync() {
    if (!settings_.autoSyncEnabled || shuttingDown_.load()) {
        return;
    }
    if (busy_.load() || starting_.load()) {
        followUpPending_ = true;
        return;
    }
    // The run needs the project lists; when they are still loading it waits for them.
    if (projectEntries_.empty()) {
        initialSyncWaitsForLists_ = true;
        return;
    }
    initialSyncWaitsForLists_ = false;
    RequestSync(true, Text("reason.initial_sync"));
}

}  // namespace tavrin
