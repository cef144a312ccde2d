#include "server/project_catalog.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>

#include "app/fnv1a.h"
#include "base/file_io.h"
#include "i18n/utf8_conversion.h"
#include "manifest/file_list_writer.h"
#include "manifest/json_document.h"
#include "sync/sha256.h"

namespace tavrin::server {
namespace {

bool IsHidden(const std::filesystem::path& path) {
    const std::string name = PathToUtf8(path.filename());
    return name.empty() || name.front() == '.';
}

double MtimeOf(const struct stat& info) {
    return static_cast<double>(info.st_mtim.tv_sec) +
           static_cast<double>(info.st_mtim.tv_nsec) / 1e9;
}

}  // namespace

ProjectCatalog::ProjectCatalog(std::filesystem::path root, std::filesystem::path stateFolder)
    : root_(std::move(root)),
      stateFolder_(stateFolder.empty() ? root_ / ".tavrin-server" : std::move(stateFolder)) {
    LoadState();
}

void ProjectCatalog::LoadState() {
    nlohmann::json state;
    std::string error;
    if (ParseJsonDocument(ReadWholeFile(stateFolder_ / "state.json").value_or(""), state, error) &&
        state.is_object()) {
        revision_ = state.value("revision", std::uint64_t{0});
        // What the projects were at the last run, so an unchanged root keeps its revision.
        const auto projects = state.find("projects");
        if (projects != state.end() && projects->is_object()) {
            for (const auto& item : projects->items()) {
                auto known = std::make_shared<Project>();
                known->name = item.key();
                known->etag = item.value().value("etag", "");
                known->changedAtRevision = item.value().value("changed", std::uint64_t{0});
                known->lastModified = item.value().value("modified", std::int64_t{0});
                projects_[item.key()] = known;
            }
        }
    }
    nlohmann::json hashes;
    if (ParseJsonDocument(ReadWholeFile(stateFolder_ / "hashes.json").value_or(""), hashes,
                          error) &&
        hashes.is_object()) {
        for (const auto& item : hashes.items()) {
            const nlohmann::json& value = item.value();
            if (value.is_object()) {
                hashes_[item.key()] = {value.value("size", std::uint64_t{0}),
                                       value.value("mtime", 0.0), value.value("hash", "")};
            }
        }
    }
}

void ProjectCatalog::SaveState() const {
    std::error_code ec;
    std::filesystem::create_directories(stateFolder_, ec);
    nlohmann::json hashes = nlohmann::json::object();
    for (const auto& [key, cached] : hashes_) {
        hashes[key] = {{"size", cached.size}, {"mtime", cached.mtime}, {"hash", cached.hash}};
    }
    WriteFileReplacing(stateFolder_ / "hashes.json",
                       hashes.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    nlohmann::json projects = nlohmann::json::object();
    for (const auto& [name, project] : projects_) {
        projects[name] = {{"etag", project->etag},
                          {"changed", project->changedAtRevision},
                          {"modified", project->lastModified}};
    }
    WriteFileReplacing(stateFolder_ / "state.json",
                       nlohmann::json({{"revision", revision_}, {"projects", projects}})
                           .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

std::string ProjectCatalog::HashOf(const std::filesystem::path& file, std::uint64_t size,
                                   double mtime, const std::string& key) {
    const auto cached = hashes_.find(key);
    if (cached != hashes_.end() && cached->second.size == size && cached->second.mtime == mtime) {
        return cached->second.hash;
    }
    std::string digest;
    std::wstring error;
    if (!Sha256File(PathToWide(file), digest, error)) {
        return {};
    }
    hashes_[key] = {size, mtime, digest};
    return digest;
}

bool ProjectCatalog::Rescan() {
    std::lock_guard lock(mutex_);
    std::map<std::string, std::shared_ptr<const Project>> scanned;
    std::error_code ec;
    for (const auto& folder : std::filesystem::directory_iterator(root_, ec)) {
        if (IsHidden(folder.path()) || folder.is_symlink(ec) || !folder.is_directory(ec)) {
            continue;
        }
        auto project = std::make_shared<Project>();
        project->name = PathToUtf8(folder.path().filename());
        std::filesystem::recursive_directory_iterator walk(
            folder.path(), std::filesystem::directory_options::skip_permission_denied, ec);
        for (auto it = walk; it != std::filesystem::recursive_directory_iterator();
             it.increment(ec)) {
            if (ec) {
                break;
            }
            struct stat info {};
            if (::lstat(it->path().c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
                continue;  // links (to files or folders) are neither listed nor followed
            }
            const std::string relative =
                PathToUtf8(std::filesystem::relative(it->path(), folder.path()).generic_string());
            const auto size = static_cast<std::uint64_t>(info.st_size);
            const double mtime = MtimeOf(info);
            project->files.push_back(
                {relative, size, mtime,
                 HashOf(it->path(), size, mtime, project->name + "/" + relative)});
        }
        std::sort(project->files.begin(), project->files.end(),
                  [](const FileListEntry& a, const FileListEntry& b) {
                      return a.relativePath < b.relativePath;
                  });
        project->listJson = WriteFileListJson(project->files);
        project->etag = "\"" + Fnv1a64Hex(project->listJson) + "\"";
        scanned[project->name] = project;
    }
    bool changed = scanned.size() != projects_.size();
    for (auto& [name, project] : scanned) {
        const auto old = projects_.find(name);
        auto fresh = std::const_pointer_cast<Project>(project);
        if (old != projects_.end() && old->second->etag == project->etag) {
            fresh->changedAtRevision = old->second->changedAtRevision;
            fresh->lastModified = old->second->lastModified;
        } else {
            changed = true;
            fresh->changedAtRevision = revision_ + 1;
            fresh->lastModified = std::chrono::duration_cast<std::chrono::seconds>(
                                      std::chrono::system_clock::now().time_since_epoch())
                                      .count();
        }
    }
    if (changed) {
        ++revision_;
        for (auto& [name, project] : scanned) {
            auto fresh = std::const_pointer_cast<Project>(project);
            fresh->changedAtRevision = std::min(fresh->changedAtRevision, revision_);
        }
    }
    projects_ = std::move(scanned);
    if (changed || !savedOnce_) {
        SaveState();
        savedOnce_ = true;
    }
    return changed;
}

std::uint64_t ProjectCatalog::Revision() const {
    std::lock_guard lock(mutex_);
    return revision_;
}

std::vector<std::string> ProjectCatalog::ProjectNames() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    for (const auto& [name, project] : projects_) {
        names.push_back(name);
    }
    return names;
}

std::shared_ptr<const Project> ProjectCatalog::Find(const std::string& name) const {
    std::lock_guard lock(mutex_);
    const auto it = projects_.find(name);
    return it == projects_.end() ? nullptr : it->second;
}

std::optional<std::filesystem::path> ProjectCatalog::ListedFile(
    const std::string& project, const std::string& relativePath) const {
    const std::shared_ptr<const Project> found = Find(project);
    if (!found) {
        return std::nullopt;
    }
    const auto it = std::lower_bound(found->files.begin(), found->files.end(), relativePath,
                                     [](const FileListEntry& entry, const std::string& path) {
                                         return entry.relativePath < path;
                                     });
    if (it == found->files.end() || it->relativePath != relativePath) {
        return std::nullopt;
    }
    return root_ / Utf8ToPath(project) / Utf8ToPath(relativePath);
}

std::uint64_t ProjectCatalog::LastChange(const std::vector<std::string>& projects) const {
    std::lock_guard lock(mutex_);
    std::uint64_t last = 0;
    for (const auto& [name, project] : projects_) {
        if (projects.empty() ||
            std::find(projects.begin(), projects.end(), name) != projects.end()) {
            last = std::max(last, project->changedAtRevision);
        }
    }
    return last;
}

}  // namespace tavrin::server
