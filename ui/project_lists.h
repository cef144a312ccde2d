#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <map>
#include <vector>

#include "settings/project_entry.h"
#include "ui/project_list_loader.h"
#include "ui/thread_reaper.h"

namespace tavrin {

// How the project list of one selected server stands.
struct ServerListState {
    enum class Stage { loading, loaded, failed };
    ServerEntry server;
    Stage stage = Stage::loading;
    std::vector<ProjectEntry> entries;
    QString error;
    int failures = 0;
    std::uint64_t load = 0;  // the load whose answer counts
};

// What a finished load of project lists means for the view.
struct ListsOutcome {
    bool requestedByPlayer = false;
    bool retry = false;      // a retry of failed servers, not a refresh
    bool anyLoaded = false;  // at least one selected server's list is loaded now
    QStringList warnings;    // this load's failures
};

// The selected servers' project lists, loaded on threads of their own and kept per server. A
// server whose list failed is asked again after 5, 10, 20, 40 s and then every 60 s, and at
// once when told it answers again; the other servers' lists stay as they are.
class ProjectLists final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ProjectLists)
public:
    ProjectLists(const QString& clientId, ThreadReaper& reaper, QObject* parent);

    // Loads these servers' lists, unless the same servers' are held already and `force` is
    // not set. False when nothing was started.
    bool Refresh(const std::vector<ServerEntry>& servers, bool force, bool requestedByPlayer);
    // No server is selected: every list goes.
    void Clear();
    // A server answers again: its failed list is asked for now.
    void Retry(const QString& serverUrl);
    // The program is quitting: loads are cancelled and nothing is asked for again.
    void Stop();

    // The loaded lists' projects, in the servers' order.
    std::vector<ProjectEntry> Entries() const;
    bool AnyLoaded() const;
    bool IsLoaded(const QString& serverUrl) const;
    const ServerListState* State(const QString& serverUrl) const;
    const std::map<QString, ServerListState>& States() const { return lists_; }
    // Of these project keys, those of servers whose list is not loaded.
    QStringList KeysOfServersWithoutList(const QStringList& keys) const;

signals:
    void ListsLoading();
    void ListsLoaded(const tavrin::ListsOutcome& outcome);
    void LogLine(const QString& line);

private:
    void Load(const std::vector<ServerEntry>& servers, bool requestedByPlayer, bool retry);
    void OnLoaded(std::uint64_t load, const std::vector<ServerProjects>& answers);
    void TakeAnswer(const ServerProjects& answer, std::uint64_t load, ListsOutcome& outcome);
    void ScheduleRetry(const QString& key);
    void RetryKey(const QString& key);

    bool stopped_ = false;
    QString signature_;
    std::vector<QString> order_;                   // selected servers, lower-case URLs
    std::map<QString, ServerListState> lists_;     // by lower-case URL
    std::map<std::uint64_t, ListsOutcome> loads_;  // loads under way
    std::uint64_t loadCounter_ = 0;
    std::uint64_t epoch_ = 0;  // retries of an older refresh are dropped
    ProjectListLoader loader_;
};

}  // namespace tavrin
