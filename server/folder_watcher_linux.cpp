#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

#include "i18n/utf8_conversion.h"
#include "server/folder_walk.h"
#include "server/folder_watcher.h"

namespace tavrin::server {
namespace {

constexpr std::uint32_t kFolderEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                        IN_CLOSE_WRITE | IN_ATTRIB | IN_ONLYDIR | IN_EXCL_UNLINK;

std::string Join(const std::string& folder, std::string_view name) {
    return folder.empty() ? std::string(name) : folder + "/" + std::string(name);
}

class InotifyWatcher final : public FolderWatcher {
public:
    ~InotifyWatcher() override {
        if (events_ >= 0) {
            ::close(events_);
        }
        if (wake_ >= 0) {
            ::close(wake_);
        }
    }

    bool Start(const std::filesystem::path& root, std::string& error) override {
        root_ = root;
        events_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        wake_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        if (events_ < 0 || wake_ < 0) {
            error = std::string("file events are unavailable: ") + std::strerror(errno);
            return false;
        }
        WatchAll();
        if (folders_.empty()) {
            error = std::string("cannot watch ") + root_.string() + ": " + std::strerror(errno);
            return false;
        }
        return true;
    }

    FolderChanges Collect(std::chrono::milliseconds timeout, std::chrono::milliseconds quiet,
                          std::chrono::milliseconds longest) override {
        FolderChanges changes;
        if (!Wait(timeout)) {
            return changes;
        }
        const auto until = std::chrono::steady_clock::now() + longest;
        do {
            Read(changes);
        } while (std::chrono::steady_clock::now() < until && Wait(quiet));
        if (changes.everything) {
            WatchAll();  // folders made while events were lost have no watch yet
        }
        // Watches that ran out leave folders unseen by events: scan them all once now.
        changes.everything = std::exchange(lostWatch_, false) || changes.everything;
        return changes;
    }

    void Interrupt() override {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(wake_, &one, sizeof one);
    }

    bool Complete() const override { return !outOfWatches_; }

    std::string TakeNotice() override { return std::exchange(notice_, std::string()); }

private:
    // True when events wait to be read; false on time-out or Interrupt().
    bool Wait(std::chrono::milliseconds timeout) {
        std::array<pollfd, 2> fds{{{events_, POLLIN, 0}, {wake_, POLLIN, 0}}};
        if (::poll(fds.data(), fds.size(), static_cast<int>(timeout.count())) <= 0) {
            return false;
        }
        if (fds[1].revents != 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const ssize_t read = ::read(wake_, &count, sizeof count);
            return false;
        }
        return fds[0].revents != 0;
    }

    void Read(FolderChanges& changes) {
        alignas(inotify_event) std::array<char, 64 * 1024> buffer{};
        for (;;) {
            const ssize_t length = ::read(events_, buffer.data(), buffer.size());
            if (length <= 0) {
                return;
            }
            for (ssize_t at = 0; at < length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
                Handle(*event, event->len > 0 ? std::string_view(event->name) : std::string_view(),
                       changes);
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
    }

    void Handle(const inotify_event& event, std::string_view name, FolderChanges& changes) {
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            changes.everything = true;
            if (!overflowTold_) {
                notice_ = "the queue of file events overflowed; scanning the whole root";
                overflowTold_ = true;
            }
            return;
        }
        const auto watched = folders_.find(event.wd);
        if (watched == folders_.end()) {
            return;
        }
        if ((event.mask & IN_IGNORED) != 0) {
            // A folder moved over this one may have taken its path by now.
            const auto current = watchOf_.find(watched->second);
            if (current != watchOf_.end() && current->second == event.wd) {
                watchOf_.erase(current);
            }
            folders_.erase(watched);
            return;
        }
        const std::string folder = watched->second;
        const bool inRoot = folder.empty();
        if (name.empty() || (inRoot && name.front() == '.')) {
            return;  // the folder itself, or the state folder and other hidden entries
        }
        const std::string path = Join(folder, name);
        if ((event.mask & IN_ISDIR) == 0) {
            if (!inRoot) {
                changes.folders.insert(folder);  // files directly in the root are no projects
            }
            return;
        }
        changes.trees.insert(path);
        if ((event.mask & (IN_DELETE | IN_MOVED_FROM)) != 0) {
            Unwatch(path);  // moved away, its watches would report from outside the root
        } else if ((event.mask & (IN_CREATE | IN_MOVED_TO)) != 0 ||
                   watchOf_.count(path) == 0) {  // also one made readable since
            NativeHandle top;
            NativeHandle added;
            if (OpenTopFolder(PathToWide(root_), top).outcome == FolderOutcome::kOpened &&
                OpenFolderBelow(top, path, added)) {
                WatchTree(added, path);
            }
        }
    }

    void WatchAll() {
        NativeHandle top;
        if (OpenTopFolder(PathToWide(root_), top).outcome == FolderOutcome::kOpened) {
            WatchTree(top, "");
        }
    }

    // Watches `folder` (open, at `path` below the root) and every folder below it.
    void WatchTree(const NativeHandle& folder, const std::string& path) {
        if (outOfWatches_ && lostWatch_) {
            return;  // the limit was just reached: no use trying every folder below
        }
        // By /proc/self/fd, so that the watch is on the folder held open, not on whatever a
        // path names by the time it is added.
        const std::string self = "/proc/self/fd/" + std::to_string(folder.Get());
        const int wd = ::inotify_add_watch(events_, self.c_str(), kFolderEvents);
        if (wd < 0) {
            if (errno == ENOSPC && !outOfWatches_) {
                notice_ =
                    "the system's limit of file watches (fs.inotify.max_user_watches) is "
                    "reached; folders beyond it are seen by the timed scans only";
                lostWatch_ = true;
            }
            // Unwatched, for whatever reason: only timed scans see that folder now.
            outOfWatches_ = true;
            return;
        }
        // The same folder watched before under another path (moved while events were lost).
        if (const auto known = folders_.find(wd);
            known != folders_.end() && known->second != path) {
            watchOf_.erase(known->second);
        }
        folders_[wd] = path;
        watchOf_[path] = wd;
        for (const std::string& name : SubfoldersOf(folder)) {
            if (path.empty() && name.front() == '.') {
                continue;
            }
            NativeHandle child;
            if (OpenChildFolder(folder, name, false, child).outcome == FolderOutcome::kOpened) {
                WatchTree(child, Join(path, name));
            }
        }
    }

    void Unwatch(const std::string& path) {
        const std::string below = path + "/";
        // "a/b c" sorts between "a/b" and "a/b/c": walk all that start with the path.
        for (auto it = watchOf_.lower_bound(path);
             it != watchOf_.end() && it->first.rfind(path, 0) == 0;) {
            if (it->first != path && it->first.rfind(below, 0) != 0) {
                ++it;
                continue;
            }
            ::inotify_rm_watch(events_, it->second);
            folders_.erase(it->second);
            it = watchOf_.erase(it);
        }
    }

    std::filesystem::path root_;
    int events_ = -1;
    int wake_ = -1;
    std::map<int, std::string> folders_;  // watch -> folder below the root
    std::map<std::string, int> watchOf_;  // folder -> watch
    bool outOfWatches_ = false;
    bool lostWatch_ = false;
    bool overflowTold_ = false;
    std::string notice_;
};

}  // namespace

std::unique_ptr<FolderWatcher> CreateFolderWatcher() {
    return std::make_unique<InotifyWatcher>();
}

}  // namespace tavrin::server
