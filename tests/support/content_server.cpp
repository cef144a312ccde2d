#include "tests/support/content_server.h"

#include <cstdio>
#include <cstdlib>

#include "i18n/utf8_conversion.h"
#include "sync/sha256.h"
#include "tests/support/sandbox.h"

namespace tavrin::test {

std::string PercentDecode(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            out.push_back(static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)));
            i += 2;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

std::string ContentServer::Sha256Hex(const std::string& bytes) {
    Sandbox sandbox;
    WriteFile(sandbox / "data", bytes);
    std::string digest;
    std::wstring error;
    Sha256File(PathToWide(sandbox / "data"), digest, error);
    return digest;
}

ContentServer::ContentServer() {
    server_.ReplyOtherwise([this](const RecordedRequest& request) { return Answer(request); });
}

void ContentServer::AddFile(const std::string& project, const std::string& path,
                            const std::string& bytes, double mtime) {
    std::lock_guard lock(mutex_);
    projects_[project][path] = {bytes, mtime, Sha256Hex(bytes), true};
}

void ContentServer::SetListedHash(const std::string& project, const std::string& path,
                                  std::string hash) {
    std::lock_guard lock(mutex_);
    projects_[project][path].listedHash = std::move(hash);
}

void ContentServer::RemoveFromList(const std::string& project, const std::string& path) {
    std::lock_guard lock(mutex_);
    projects_[project][path].listed = false;
}

void ContentServer::AddRawRecord(const std::string& project, const std::string& json) {
    std::lock_guard lock(mutex_);
    projects_[project];
    rawRecords_[project].push_back(json);
}

void ContentServer::ScriptDownload(const std::string& project, const std::string& path,
                                   std::vector<ScriptedReply> replies) {
    std::lock_guard lock(mutex_);
    scripted_[project + "/" + path] = std::move(replies);
}

void ContentServer::RequirePassword(const std::string& project, const std::string& password) {
    std::lock_guard lock(mutex_);
    passwords_[project] = password;
}

int ContentServer::DownloadRequests() const {
    std::lock_guard lock(mutex_);
    int total = 0;
    for (const auto& [key, count] : downloads_) {
        total += count;
    }
    return total;
}

int ContentServer::DownloadRequestsFor(const std::string& project, const std::string& path) const {
    std::lock_guard lock(mutex_);
    const auto it = downloads_.find(project + "/" + path);
    return it == downloads_.end() ? 0 : it->second;
}

std::string ContentServer::FileList(const std::string& project) const {
    std::string json = "[";
    const auto append = [&json](const std::string& record) {
        json += (json.size() > 1 ? "," : "") + record;
    };
    for (const auto& [path, file] : projects_.at(project)) {
        if (!file.listed) {
            continue;
        }
        char mtime[64];
        std::snprintf(mtime, sizeof mtime, "%.6f", file.mtime);
        append("{\"relative_path\":\"" + path + "\",\"size\":" + std::to_string(file.bytes.size()) +
               ",\"mtime\":" + mtime + ",\"hash\":\"" + file.listedHash + "\"}");
    }
    if (const auto raw = rawRecords_.find(project); raw != rawRecords_.end()) {
        for (const std::string& record : raw->second) {
            append(record);
        }
    }
    return json + "]";
}

ScriptedReply ContentServer::Answer(const RecordedRequest& request) {
    std::lock_guard lock(mutex_);
    const auto passwordOk = [&](const std::string& project) {
        const auto required = passwords_.find(project);
        return required == passwords_.end() ||
               request.Header("X-Project-Password") == required->second;
    };
    if (offline_) {
        ScriptedReply dropped;
        dropped.dropWithoutAnswer = true;
        return dropped;
    }
    const auto held = [] {
        ScriptedReply silence;
        silence.neverAnswer = true;
        return silence;
    };
    if (request.target == "/list_projects_meta") {
        ++listRequests_;
        if (holdLists_) {
            return held();
        }
        std::string json = "[";
        for (const auto& [project, files] : projects_) {
            json +=
                (json.size() > 1 ? ",{\"name\":\"" : "{\"name\":\"") + project +
                "\",\"requires_password\":" + (passwords_.count(project) != 0 ? "true}" : "false}");
        }
        ScriptedReply reply = ScriptedReply::Status(200, json + "]");
        reply.delayBeforeAnswerMs = listDelayMs_;
        return reply;
    }
    const std::string listPrefix = "/file_list/";
    const std::string downloadPrefix = "/download_file/";
    if (request.target.rfind(listPrefix, 0) == 0) {
        const std::string project = PercentDecode(request.target.substr(listPrefix.size()));
        if (projects_.count(project) == 0) {
            return ScriptedReply::Status(404, "unknown project");
        }
        if (!passwordOk(project)) {
            return ScriptedReply::Status(401, "password");
        }
        return ScriptedReply::Status(200, FileList(project));
    }
    if (request.target.rfind(downloadPrefix, 0) == 0) {
        const std::string rest = request.target.substr(downloadPrefix.size());
        const std::size_t slash = rest.find('/');
        const std::string project = PercentDecode(rest.substr(0, slash));
        const std::string path = PercentDecode(rest.substr(slash + 1));
        const std::string key = project + "/" + path;
        ++downloads_[key];
        if (!passwordOk(project)) {
            return ScriptedReply::Status(401, "password");
        }
        if (const auto script = scripted_.find(key); script != scripted_.end()) {
            std::size_t& served = scriptedServed_[key];
            const ScriptedReply reply = script->second[std::min(served, script->second.size() - 1)];
            ++served;
            return reply;
        }
        const auto files = projects_.find(project);
        if (files == projects_.end() || files->second.count(path) == 0) {
            return ScriptedReply::Status(404, "no such file");
        }
        return ScriptedReply::Status(200, files->second.at(path).bytes);
    }
    if (request.target.rfind("/changes?", 0) == 0) {
        changePolls_.push_back(std::chrono::steady_clock::now());
        if (changesFailing_) {
            return ScriptedReply::Status(503, "busy");
        }
        if (holdPolls_) {
            return held();
        }
        const std::size_t at = request.target.find("since=");
        const std::uint64_t since =
            at == std::string::npos ? 0
                                    : std::strtoull(request.target.c_str() + at + 6, nullptr, 10);
        const bool changed = changeRevision_ > since || (changeReset_ && changeRevision_ < since);
        // No long hold: an answer without changes comes at once and asks for a short pause.
        return ScriptedReply::Status(
            200, "{\"revision\":" + std::to_string(changeRevision_) +
                     ",\"has_changes\":" + (changed ? "true" : "false") +
                     ",\"full_resync\":" + (changeReset_ ? "true" : "false") +
                     ",\"retry_after_ms\":" + std::to_string(changeRetryAfterMs_) + "}");
    }
    return ScriptedReply::Status(404, "unknown endpoint");
}

void ContentServer::DelayDownload(const std::string& project, const std::string& path,
                                  int delayMs) {
    std::lock_guard lock(mutex_);
    ScriptedReply reply = ScriptedReply::Status(200, projects_.at(project).at(path).bytes);
    reply.delayBeforeAnswerMs = delayMs;
    scripted_[project + "/" + path] = {reply};
}

void ContentServer::SetChangeRevision(std::uint64_t revision, bool reset) {
    std::lock_guard lock(mutex_);
    changeRevision_ = revision;
    changeReset_ = reset;
}

void ContentServer::SetChangePause(std::uint64_t retryAfterMs) {
    std::lock_guard lock(mutex_);
    changeRetryAfterMs_ = retryAfterMs;
}

void ContentServer::FailChangePolls(bool failing) {
    std::lock_guard lock(mutex_);
    changesFailing_ = failing;
}

void ContentServer::SetOffline(bool offline) {
    std::lock_guard lock(mutex_);
    offline_ = offline;
}

void ContentServer::HoldChangePolls(bool hold) {
    std::lock_guard lock(mutex_);
    holdPolls_ = hold;
}

void ContentServer::HoldProjectLists(bool hold) {
    std::lock_guard lock(mutex_);
    holdLists_ = hold;
}

void ContentServer::DelayProjectLists(int delayMs) {
    std::lock_guard lock(mutex_);
    listDelayMs_ = delayMs;
}

int ContentServer::ProjectListRequests() const {
    std::lock_guard lock(mutex_);
    return listRequests_;
}

std::vector<std::chrono::steady_clock::time_point> ContentServer::ChangePolls() const {
    std::lock_guard lock(mutex_);
    return changePolls_;
}

}  // namespace tavrin::test
