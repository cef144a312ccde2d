#pragma once

#include <QObject>
#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "settings/project_entry.h"
#include "settings/settings_record.h"
#include "ui/thread_reaper.h"

namespace tavrin {

// One server's answer to a project-list load.
struct ServerProjects {
    ServerEntry server;
    bool loaded = false;
    std::vector<ProjectEntry> entries;
    QString error;  // "error.server_with_details", when not loaded
};

// Loads project lists on threads of their own, one server after the other, each load with a
// cancel flag that is read between servers and cuts a waiting request short.
class ProjectListLoader final {
public:
    using Done = std::function<void(std::uint64_t load, const std::vector<ServerProjects>&)>;

    ProjectListLoader(QObject* receiver, std::wstring clientId, ThreadReaper& reaper, Done done);
    ~ProjectListLoader();
    ProjectListLoader(const ProjectListLoader&) = delete;
    ProjectListLoader& operator=(const ProjectListLoader&) = delete;

    // Starts a load; `done` runs on the receiver's thread with its number, unless the load was
    // cancelled first. False with the reason when no thread could be started.
    bool Load(std::uint64_t load, std::vector<ServerEntry> servers, QString& error);
    // Cancels every load under way; their threads go to the reaper.
    void CancelAll();
    // A load's thread has ended; hands it to the reaper.
    void Finished(std::uint64_t load);

private:
    struct Running;
    QObject* receiver_;
    std::wstring clientId_;
    ThreadReaper& reaper_;
    Done done_;
    std::vector<std::unique_ptr<Running>> running_;
};

}  // namespace tavrin
