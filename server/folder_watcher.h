#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "server/folder_changes.h"

namespace tavrin::server {

// Reports what changes below a root, folder by folder, from the system's file events, so the
// catalog scans only those folders. Hidden entries directly in the root (the state folder
// among them) are not watched: they are no projects.
class FolderWatcher {
public:
    virtual ~FolderWatcher() = default;

    // Watches the root and every folder below it. False with a message when the system has
    // no events to give; the caller then scans on a timer alone.
    virtual bool Start(const std::filesystem::path& root, std::string& error) = 0;

    // Waits up to `timeout` for a first event, then gathers more until `quiet` passes without
    // one (or `longest` in all), so a copy of many files comes as one change.
    virtual FolderChanges Collect(std::chrono::milliseconds timeout,
                                  std::chrono::milliseconds quiet,
                                  std::chrono::milliseconds longest) = 0;

    // Makes a waiting Collect() return at once; for stopping.
    virtual void Interrupt() = 0;

    // False when some folders could not be watched (the system's limit on watches ran out):
    // only timed full rescans see changes there.
    virtual bool Complete() const = 0;

    // A line for the log when something went wrong, once per cause; empty when nothing did.
    virtual std::string TakeNotice() = 0;
};

// The watcher of this system: inotify on Linux.
std::unique_ptr<FolderWatcher> CreateFolderWatcher();

}  // namespace tavrin::server
