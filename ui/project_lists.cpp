#include "ui/project_lists.h"

#include <QTimer>
#include <algorithm>

#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kListRetrySeconds[] = {5, 10, 20, 40, 60};

QString KeyOf(const QString& url) {
    return url.trimmed().toLower();
}

QString ServerOfKey(const QString& key) {
    return key.section(QLatin1Char('|'), 0, 0).trimmed().toLower();
}

}  // namespace

ProjectLists::ProjectLists(const QString& clientId, ThreadReaper& reaper, QObject* parent)
    : QObject(parent),
      loader_(this, clientId.toStdWString(), reaper,
              [this](std::uint64_t load, const std::vector<ServerProjects>& answers) {
                  OnLoaded(load, answers);
              }) {}

bool ProjectLists::Refresh(const std::vector<ServerEntry>& servers, bool force,
                           bool requestedByPlayer) {
    const QString signature = ServerSetSignature(servers);
    if (!force && signature == signature_) {
        return false;
    }
    signature_ = signature;
    loader_.CancelAll();
    loads_.clear();
    ++epoch_;
    lists_.clear();
    order_.clear();
    for (const ServerEntry& server : servers) {
        order_.push_back(KeyOf(server.url));
        lists_[KeyOf(server.url)].server = server;
    }
    emit ListsLoading();
    Load(servers, requestedByPlayer, false);
    return true;
}

void ProjectLists::Clear() {
    loader_.CancelAll();
    ++epoch_;
    lists_.clear();
    order_.clear();
    signature_.clear();
}

void ProjectLists::Stop() {
    stopped_ = true;
    loader_.CancelAll();
}

void ProjectLists::Load(const std::vector<ServerEntry>& servers, bool requestedByPlayer,
                        bool retry) {
    const std::uint64_t load = ++loadCounter_;
    for (const ServerEntry& server : servers) {
        ServerListState& state = lists_[KeyOf(server.url)];
        state.load = load;
        state.stage = ServerListState::Stage::loading;
    }
    loads_[load] = {requestedByPlayer, retry, false, {}};
    QString error;
    if (!loader_.Load(load, servers, error)) {
        // No thread to load with: the servers count as failed and are tried again later.
        std::vector<ServerProjects> answers;
        for (const ServerEntry& server : servers) {
            answers.push_back({server, false, {}, error});
        }
        QTimer::singleShot(0, this, [this, load, answers] { OnLoaded(load, answers); });
    }
}

void ProjectLists::OnLoaded(std::uint64_t load, const std::vector<ServerProjects>& answers) {
    loader_.Finished(load);
    const auto found = loads_.find(load);
    if (found == loads_.end() || stopped_) {
        return;  // a newer refresh has replaced it
    }
    ListsOutcome outcome = found->second;
    loads_.erase(found);
    for (const ServerProjects& answer : answers) {
        TakeAnswer(answer, load, outcome);
    }
    outcome.anyLoaded = AnyLoaded();
    emit ListsLoaded(outcome);
}

void ProjectLists::TakeAnswer(const ServerProjects& answer, std::uint64_t load,
                              ListsOutcome& outcome) {
    const auto state = lists_.find(KeyOf(answer.server.url));
    if (state == lists_.end() || state->second.load != load) {
        return;
    }
    if (answer.loaded) {
        state->second.stage = ServerListState::Stage::loaded;
        state->second.entries = answer.entries;
        state->second.failures = 0;
        state->second.error.clear();
        return;
    }
    state->second.stage = ServerListState::Stage::failed;
    state->second.entries.clear();
    state->second.error = answer.error;
    ++state->second.failures;
    outcome.warnings << answer.error;
    ScheduleRetry(state->first);
}

void ProjectLists::ScheduleRetry(const QString& key) {
    const ServerListState& state = lists_.at(key);
    const int step = std::min<int>(state.failures, std::size(kListRetrySeconds)) - 1;
    const int seconds = kListRetrySeconds[std::max(step, 0)];
    if (state.failures == 1) {  // the placeholder tells the rest; the log is not flooded
        emit LogLine(Text("log.project_list_retry").arg(state.error).arg(seconds));
    }
    QTimer::singleShot(
        seconds * 1000, this, [this, key, epoch = epoch_, failures = state.failures] {
            const auto found = lists_.find(key);
            if (epoch == epoch_ && found != lists_.end() && found->second.failures == failures) {
                RetryKey(key);
            }
        });
}

void ProjectLists::Retry(const QString& serverUrl) {
    RetryKey(KeyOf(serverUrl));
}

void ProjectLists::RetryKey(const QString& key) {
    const auto state = lists_.find(key);
    if (stopped_ || state == lists_.end() ||
        state->second.stage != ServerListState::Stage::failed) {
        return;
    }
    Load({state->second.server}, false, true);
}

std::vector<ProjectEntry> ProjectLists::Entries() const {
    std::vector<ProjectEntry> entries;
    for (const QString& key : order_) {
        const auto state = lists_.find(key);
        if (state != lists_.end() && state->second.stage == ServerListState::Stage::loaded) {
            entries.insert(entries.end(), state->second.entries.begin(),
                           state->second.entries.end());
        }
    }
    return entries;
}

bool ProjectLists::AnyLoaded() const {
    return std::any_of(lists_.begin(), lists_.end(), [](const auto& item) {
        return item.second.stage == ServerListState::Stage::loaded;
    });
}

bool ProjectLists::IsLoaded(const QString& serverUrl) const {
    const ServerListState* state = State(serverUrl);
    return state != nullptr && state->stage == ServerListState::Stage::loaded;
}

const ServerListState* ProjectLists::State(const QString& serverUrl) const {
    const auto state = lists_.find(KeyOf(serverUrl));
    return state == lists_.end() ? nullptr : &state->second;
}

QStringList ProjectLists::KeysOfServersWithoutList(const QStringList& keys) const {
    QStringList kept;
    for (const QString& key : keys) {
        if (!IsLoaded(ServerOfKey(key))) {
            kept << key;
        }
    }
    return kept;
}

}  // namespace tavrin
