// The watchers: each long-polls one server's change feed and reports what is new; a stopped
// generation's poll is cut short and whatever it still had to say is dropped.
#include "ui/change_watchers.h"

#include <QCoreApplication>
#include <QPointer>
#include <chrono>
#include <optional>
#include <random>

#include "app/fnv1a.h"
#include "i18n/translator.h"
#include "net/change_feed.h"
#include "net/http_request.h"
#include "sync/auto_sync_rules.h"
#include "sync/thread_start.h"
#include "ui/thread_reaper.h"
#include "widgets/ui_text.h"

namespace tavrin {

struct ChangeWatchers::Generation {
    std::atomic<bool> stopped{false};
};

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPollWaitSeconds = 8;
constexpr int kSliceMs = 100;
constexpr int kAfterChangeMs = 750;
constexpr auto kUnreachableLogGap = std::chrono::seconds(30);

class Watcher {
public:
    Watcher(QPointer<QObject> receiver, WatchedServer server, std::wstring clientId,
            std::shared_ptr<void> generationOwner, const std::atomic<bool>* stopped,
            WatcherReports reports)
        : receiver_(std::move(receiver)),
          server_(std::move(server)),
          clientId_(std::move(clientId)),
          owner_(std::move(generationOwner)),
          stopped_(stopped),
          reports_(std::move(reports)) {}

    void Run() {
        const std::uint64_t identity = Fnv1a64(server_.url.trimmed().toLower().toStdString() + "|" +
                                               QString::fromStdWString(clientId_).toStdString());
        std::mt19937_64 random(identity);
        const std::wstring url = server_.url.trimmed().toStdWString();
        int failures = 0;
        std::optional<Clock::time_point> lastUnreachableLine;
        // Watchers started together do not all knock at once.
        SleepWhileCurrent(StartStaggerMs(identity));
        while (!stopped_->load()) {
            ChangeFeedResult result;
            std::wstring error;
            const bool polled = PollChanges(url, clientId_, server_.revision, kPollWaitSeconds,
                                            server_.projects, result, error, stopped_);
            if (stopped_->load()) {
                break;
            }
            if (!polled) {
                ++failures;
                const Clock::time_point now = Clock::now();
                if (!lastUnreachableLine || now - *lastUnreachableLine >= kUnreachableLogGap) {
                    lastUnreachableLine = now;
                    Post([line = Text("log.auto_sync_server_unreachable")
                                     .arg(QString::fromStdWString(error)),
                          log = reports_.log] { log(line); });
                }
                SleepWhileCurrent(FailurePauseMs(failures, random()));
                continue;
            }
            if (failures > 0) {
                failures = 0;
                Post([url = server_.url, back = reports_.answeredAgain] { back(url); });
            }
            if (!ReportsChange(server_.revision, result)) {
                SleepWhileCurrent(QuietPauseMs(result));
                continue;
            }
            server_.revision = result.revision;
            Post([url = server_.url, revision = server_.revision,
                  reason = Text("reason.server_reports_changes").arg(server_.name),
                  changed = reports_.changed] { changed(url, revision, reason); });
            SleepWhileCurrent(JitterAfterChangeMs(identity) + kAfterChangeMs);
        }
        ReleaseChangeFeedConnection();
    }

private:
    // Sleeps in slices, so a restart or shutdown ends the watcher within one slice.
    void SleepWhileCurrent(int milliseconds) const {
        const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
        while (!stopped_->load()) {
            const Clock::time_point now = Clock::now();
            if (now >= end) {
                return;
            }
            std::this_thread::sleep_for(
                std::min<Clock::duration>(end - now, std::chrono::milliseconds(kSliceMs)));
        }
    }

    // Runs `report` on the receiver's thread unless this generation has been stopped by then.
    template <typename Report>
    void Post(Report report) const {
        QObject* receiver = receiver_.data();
        if (receiver == nullptr) {
            return;
        }
        QMetaObject::invokeMethod(
            receiver,
            [owner = owner_, stopped = stopped_, report = std::move(report)] {
                if (!stopped->load()) {
                    report();
                }
            },
            Qt::QueuedConnection);
    }

    QPointer<QObject> receiver_;
    WatchedServer server_;
    std::wstring clientId_;
    std::shared_ptr<void> owner_;  // keeps the generation's flag alive for queued reports
    const std::atomic<bool>* stopped_;
    WatcherReports reports_;
};

}  // namespace

ChangeWatchers::ChangeWatchers(QObject* receiver, std::wstring clientId, ThreadReaper& reaper,
                               WatcherReports reports)
    : receiver_(receiver),
      clientId_(std::move(clientId)),
      reaper_(reaper),
      reports_(std::move(reports)),
      running_(std::make_shared<std::atomic<int>>(0)) {}

ChangeWatchers::~ChangeWatchers() {
    Stop();
}

bool ChangeWatchers::Start(const std::vector<WatchedServer>& servers, QString& error) {
    Stop();
    current_ = std::make_shared<Generation>();
    bool allStarted = true;
    for (const WatchedServer& server : servers) {
        TrackedThread thread;
        running_->fetch_add(1);
        std::wstring startError;
        const bool started = thread.Start(startError, [receiver = QPointer<QObject>(receiver_),
                                                       server, clientId = clientId_,
                                                       generation = current_, reports = reports_,
                                                       running = running_] {
            Watcher(receiver, server, clientId, generation, &generation->stopped, reports).Run();
            running->fetch_sub(1);
        });
        if (!started) {
            running_->fetch_sub(1);
            error = QString::fromStdWString(startError);
            allStarted = false;
            continue;
        }
        threads_.push_back(std::move(thread));
    }
    return allStarted;
}

void ChangeWatchers::Stop() {
    if (current_ != nullptr) {
        current_->stopped.store(true);
        InterruptRequests(&current_->stopped);  // a long poll ends now, not in 8 s
        current_.reset();
    }
    for (TrackedThread& thread : threads_) {
        reaper_.Retire(std::move(thread));
    }
    threads_.clear();
}

}  // namespace tavrin
