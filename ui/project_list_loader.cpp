// Project lists loaded off the window's thread, with loads that can be called off.
#include "ui/project_list_loader.h"

#include <QPointer>

#include "net/http_request.h"
#include "net/project_list.h"
#include "sync/thread_start.h"
#include "ui/thread_reaper.h"
#include "widgets/ui_text.h"

namespace tavrin {

struct ProjectListLoader::Running {
    std::uint64_t load = 0;
    std::shared_ptr<std::atomic<bool>> cancel = std::make_shared<std::atomic<bool>>(false);
    TrackedThread thread;
};

namespace {

ServerProjects LoadOne(const ServerEntry& server, const std::wstring& clientId,
                       const std::atomic<bool>* cancel) {
    ServerProjects answer;
    answer.server = server;
    std::vector<ProjectInfo> projects;
    std::wstring error;
    if (!FetchProjectList(server.url.trimmed().toStdWString(), clientId, projects, error, cancel)) {
        answer.error =
            Text("error.server_with_details").arg(server.name, QString::fromStdWString(error));
        return answer;
    }
    answer.loaded = true;
    for (const ProjectInfo& project : projects) {
        const QString name = QString::fromStdString(project.name);
        answer.entries.push_back({server.name, server.url.trimmed(), project.name,
                                  server.name + QStringLiteral(" | ") + name,
                                  project.requiresPassword});
    }
    return answer;
}

}  // namespace

ProjectListLoader::ProjectListLoader(QObject* receiver, std::wstring clientId, ThreadReaper& reaper,
                                     Done done)
    : receiver_(receiver),
      clientId_(std::move(clientId)),
      reaper_(reaper),
      done_(std::move(done)) {}

ProjectListLoader::~ProjectListLoader() {
    CancelAll();
}

bool ProjectListLoader::Load(std::uint64_t load, std::vector<ServerEntry> servers, QString& error) {
    auto running = std::make_unique<Running>();
    running->load = load;
    std::wstring startError;
    const bool started = running->thread.Start(
        startError, [receiver = QPointer<QObject>(receiver_), servers = std::move(servers),
                     clientId = clientId_, cancel = running->cancel, done = done_, load] {
            std::vector<ServerProjects> answers;
            for (const ServerEntry& server : servers) {
                if (cancel->load()) {
                    return;
                }
                answers.push_back(LoadOne(server, clientId, cancel.get()));
            }
            if (cancel->load() || receiver == nullptr) {
                return;  // nobody waits for these answers any more
            }
            QMetaObject::invokeMethod(
                receiver.data(),
                [cancel, done, load, answers] {
                    if (!cancel->load()) {
                        done(load, answers);
                    }
                },
                Qt::QueuedConnection);
        });
    if (!started) {
        error = QString::fromStdWString(startError);
        return false;
    }
    running_.push_back(std::move(running));
    return true;
}

void ProjectListLoader::Finished(std::uint64_t load) {
    for (auto it = running_.begin(); it != running_.end(); ++it) {
        if ((*it)->load == load) {
            reaper_.Retire(std::move((*it)->thread));
            running_.erase(it);
            return;
        }
    }
}

void ProjectListLoader::CancelAll() {
    for (const std::unique_ptr<Running>& running : running_) {
        running->cancel->store(true);
        InterruptRequests(running->cancel.get());
        reaper_.Retire(std::move(running->thread));
    }
    running_.clear();
}

}  // namespace tavrin
