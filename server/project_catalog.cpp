#include "server/project_catalog.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include <zlib.h>

#include "base/file_io.h"
#include "i18n/utf8_conversion.h"
#include "manifest/file_list_writer.h"
#include "manifest/json_document.h"
#include "server/folder_walk.h"
#include "server/hash_cache_file.h"
#include "sync/sha256.h"

namespace tavrin::server {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

bool IsHidden(std::string_view name) {
    return name.empty() || name.front() == '.';
}

// Seconds with their fraction, as the file list states times.
double SecondsOf(std::int64_t nanoseconds) {
    std::int64_t seconds = nanoseconds / kNanosecondsPerSecond;
    std::int64_t rest = nanoseconds % kNanosecondsPerSecond;
    if (rest < 0) {
        --seconds;
        rest += kNanosecondsPerSecond;
    }
    return static_cast<double>(seconds) + static_cast<double>(rest) / 1e9;
}

std::int64_t NowInSeconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// Collects a project's files, then packs them sorted into a Project. Files kept from the
// previous state of the project come first, in their order, and keep their list entries, so a
// change of a few files in a large project rebuilds little.
class ProjectBuilder {
public:
    explicit ProjectBuilder(const Project* previous = nullptr) : previous_(previous) {}

    // A file of the previous state, unchanged and in its order.
    void Keep(std::string_view path, const CatalogFile& file) {
        Add(path, file, true);
        ++kept_;
    }

    // A file found by a walk; `unchanged` when it is `file` of the previous state as it was.
    void Add(std::string_view path, const CatalogFile& file, bool unchanged = false) {
        if (path.size() > UINT16_MAX) {
            return;  // deeper than any client could create
        }
        CatalogFile packed = file;
        packed.pathOffset = static_cast<std::uint32_t>(paths_.size());
        packed.pathLength = static_cast<std::uint16_t>(path.size());
        packed.reused = unchanged && previous_ != nullptr && !previous_->listJson.empty();
        paths_.append(path);
        files_.push_back(packed);
    }

    std::shared_ptr<Project> Finish(const std::string& name) {
        auto project = std::make_shared<Project>();
        project->name = name;
        project->paths = std::move(paths_);
        const std::string_view paths = project->paths;
        const auto before = [paths](const CatalogFile& a, const CatalogFile& b) {
            return paths.substr(a.pathOffset, a.pathLength) <
                   paths.substr(b.pathOffset, b.pathLength);
        };
        const auto middle = files_.begin() + static_cast<std::ptrdiff_t>(kept_);
        std::sort(middle, files_.end(), before);
        std::inplace_merge(files_.begin(), middle, files_.end(), before);
        // A file reached twice (a folder walked both alone and as part of a tree) counts once.
        files_.erase(std::unique(files_.begin(), files_.end(),
                                 [&](const CatalogFile& a, const CatalogFile& b) {
                                     return !before(a, b) && !before(b, a);
                                 }),
                     files_.end());
        files_.shrink_to_fit();
        std::string& list = project->listJson;
        list.reserve(previous_ != nullptr && !previous_->listJson.empty()
                         ? previous_->listJson.size() + 64 * 1024
                         : files_.size() * 160 + 2);
        list = "[";
        for (CatalogFile& file : files_) {
            const std::size_t start = list.size() + (list.size() > 1 ? 1 : 0);
            if (file.reused) {
                if (list.size() > 1) {
                    list += ',';
                }
                list.append(previous_->listJson, file.entryOffset, file.entryLength);
            } else {
                AppendFileListEntryJson(list, paths.substr(file.pathOffset, file.pathLength),
                                        file.size, SecondsOf(file.mtimeNs),
                                        file.hashed ? ToLowerHex(file.digest.data(), 32) : "",
                                        list.size() == 1);
            }
            file.reused = false;
            file.entryOffset = static_cast<std::uint32_t>(start);
            file.entryLength = static_cast<std::uint32_t>(list.size() - start);
        }
        list += "]";
        list.shrink_to_fit();
        project->files = std::move(files_);
        // zlib's two checksums run at memory speed; with the length they tell lists apart.
        const auto* bytes = reinterpret_cast<const Bytef*>(list.data());
        const auto crc = static_cast<std::uint32_t>(crc32_z(0, bytes, list.size()));
        const auto adler = static_cast<std::uint32_t>(adler32_z(1, bytes, list.size()));
        char etag[48];
        std::snprintf(etag, sizeof etag, "\"%08x%08x-%zx\"", crc, adler, list.size());
        project->etag = etag;
        return project;
    }

private:
    const Project* previous_;
    std::string paths_;
    std::vector<CatalogFile> files_;
    std::size_t kept_ = 0;
};

}  // namespace

// What to scan again in one project: everything, or some folders alone and some trees.
struct ProjectCatalog::Scope {
    bool whole = false;
    std::unordered_set<std::string> folders;
    std::unordered_set<std::string> trees;

    bool Covers(std::string_view path) const {
        if (whole) {
            return true;
        }
        const std::size_t slash = path.rfind('/');
        if (folders.count(
                std::string(slash == std::string_view::npos ? "" : path.substr(0, slash)))) {
            return true;
        }
        for (std::size_t at = path.find('/'); at != std::string_view::npos;
             at = path.find('/', at + 1)) {
            if (trees.count(std::string(path.substr(0, at)))) {
                return true;
            }
        }
        return trees.count(std::string(path)) > 0;
    }
};

const CatalogFile* Project::FindFile(std::string_view path) const {
    const auto it = std::lower_bound(
        files.begin(), files.end(), path,
        [this](const CatalogFile& file, std::string_view wanted) { return PathOf(file) < wanted; });
    return it != files.end() && PathOf(*it) == path ? &*it : nullptr;
}

std::string Project::HashOf(const CatalogFile& file) const {
    return file.hashed ? ToLowerHex(file.digest.data(), file.digest.size()) : std::string();
}

std::shared_ptr<const std::string> Project::GzippedList() const {
    std::lock_guard lock(gzipMutex_);
    return gzippedList_;
}

void Project::SetGzippedList(std::shared_ptr<const std::string> gzipped) const {
    std::lock_guard lock(gzipMutex_);
    gzippedList_ = std::move(gzipped);
}

ProjectCatalog::ProjectCatalog(std::filesystem::path root, std::filesystem::path stateFolder)
    : root_(std::move(root)),
      stateFolder_(stateFolder.empty() ? root_ / ".tavrin-server" : std::move(stateFolder)) {
    LoadState();
    LoadHashCache();
}

void ProjectCatalog::LoadState() {
    nlohmann::json state;
    std::string error;
    if (!ParseJsonDocument(ReadWholeFile(stateFolder_ / "state.json").value_or(""), state, error) ||
        !state.is_object()) {
        return;
    }
    revision_ = state.value("revision", std::uint64_t{0});
    // What the projects were at the last run, so an unchanged root keeps its revision.
    const auto projects = state.find("projects");
    if (projects == state.end() || !projects->is_object()) {
        return;
    }
    for (const auto& item : projects->items()) {
        auto known = std::make_shared<Project>();
        known->name = item.key();
        known->etag = item.value().value("etag", "");
        known->changedAtRevision = item.value().value("changed", std::uint64_t{0});
        known->lastModified = item.value().value("modified", std::int64_t{0});
        projects_[item.key()] = known;
    }
}

void ProjectCatalog::LoadHashCache() {
    std::map<std::string, ProjectBuilder> builders;
    ReadHashCacheFile(stateFolder_,
                      [&builders](const std::string& project, const std::string& path,
                                  const CatalogFile& file) { builders[project].Add(path, file); });
    for (auto& [name, builder] : builders) {
        std::shared_ptr<Project> remembered = builder.Finish(name);
        const auto known = projects_.find(name);
        if (known != projects_.end()) {
            // The list is rebuilt by the first scan; what counts now is the last run's state.
            remembered->etag = known->second->etag;
            remembered->changedAtRevision = known->second->changedAtRevision;
            remembered->lastModified = known->second->lastModified;
        }
        remembered->listJson.clear();
        remembered->listJson.shrink_to_fit();
        projects_[name] = remembered;
    }
}

void ProjectCatalog::Save() {
    std::lock_guard scanLock(scanMutex_);
    if (!dirty_) {
        return;
    }
    const auto projects = Projects();
    nlohmann::json states = nlohmann::json::object();
    for (const auto& [name, project] : projects) {
        states[name] = {{"etag", project->etag},
                        {"changed", project->changedAtRevision},
                        {"modified", project->lastModified}};
    }
    std::error_code ec;
    std::filesystem::create_directories(stateFolder_, ec);
    const bool written =
        WriteHashCacheFile(stateFolder_, projects) &&
        WriteFileReplacing(stateFolder_ / "state.json",
                           nlohmann::json({{"revision", Revision()}, {"projects", states}})
                               .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    dirty_ = !written;
}

const Project* ProjectCatalog::Known(const std::string& name) const {
    // Written only by scans, which scanMutex_ keeps to one thread at a time.
    const auto it = projects_.find(name);
    return it == projects_.end() ? nullptr : it->second.get();
}

std::shared_ptr<Project> ProjectCatalog::ScanProject(const std::string& name,
                                                     const Scope* scope) const {
    NativeHandle root;
    NativeHandle folder;
    if (OpenTopFolder(PathToWide(root_), root).outcome != FolderOutcome::kOpened ||
        OpenChildFolder(root, name, false, folder).outcome != FolderOutcome::kOpened) {
        return nullptr;  // gone, or a link
    }
    const Project* previous = Known(name);
    ProjectBuilder builder(previous);
    if (previous != nullptr && scope != nullptr && !scope->whole) {
        for (const CatalogFile& file : previous->files) {
            if (!scope->Covers(previous->PathOf(file))) {
                builder.Keep(previous->PathOf(file), file);
            }
        }
    }
    const auto visit = [&](const WalkedFile& walked) {
        CatalogFile file;
        file.size = walked.size;
        file.mtimeNs = walked.mtimeNs;
        const CatalogFile* known = previous ? previous->FindFile(walked.path) : nullptr;
        if (known != nullptr && known->hashed && known->size == file.size &&
            known->mtimeNs == file.mtimeNs) {
            builder.Add(walked.path, *known, true);
            return;
        }
        NativeHandle open;
        std::uint32_t code = 0;
        std::string hex;
        std::wstring error;
        file.hashed = OpenFileForReading(walked.folder, walked.name, open, code) &&
                      Sha256OfOpenFile(open, nullptr, hex, error) &&
                      DigestFromHex(hex, file.digest);
        builder.Add(walked.path, file);
    };
    if (scope == nullptr || scope->whole) {
        WalkFolder(folder, "", true, visit);
    } else {
        for (const std::string& path : scope->folders) {
            WalkFolder(folder, path, false, visit);
        }
        for (const std::string& path : scope->trees) {
            WalkFolder(folder, path, true, visit);
        }
    }
    return builder.Finish(name);
}

bool ProjectCatalog::Rescan() {
    std::lock_guard scanLock(scanMutex_);
    std::map<std::string, std::shared_ptr<const Project>> scanned;
    NativeHandle root;
    if (OpenTopFolder(PathToWide(root_), root).outcome == FolderOutcome::kOpened) {
        for (const std::string& name : SubfoldersOf(root)) {
            if (IsHidden(name)) {
                continue;
            }
            if (auto project = ScanProject(name, nullptr)) {
                scanned[name] = std::move(project);
            }
        }
    }
    return Publish(std::move(scanned));
}

bool ProjectCatalog::Apply(const FolderChanges& changes) {
    if (changes.everything) {
        return Rescan();
    }
    std::lock_guard scanLock(scanMutex_);
    std::map<std::string, Scope> scopes;
    const auto split = [](const std::string& path) {
        const std::size_t slash = path.find('/');
        return std::make_pair(path.substr(0, slash),
                              slash == std::string::npos ? std::string() : path.substr(slash + 1));
    };
    for (const std::string& path : changes.trees) {
        auto [project, below] = split(path);
        if (!IsHidden(project)) {
            Scope& scope = scopes[project];
            scope.whole = scope.whole || below.empty();
            scope.trees.insert(below);
        }
    }
    for (const std::string& path : changes.folders) {
        auto [project, below] = split(path);
        if (!IsHidden(project)) {
            scopes[project].folders.insert(below);
        }
    }
    auto scanned = Projects();
    for (auto& [name, scope] : scopes) {
        // A project the catalog does not hold yet is found whole, never from one folder of it.
        scope.whole = scope.whole || Known(name) == nullptr;
        if (auto project = ScanProject(name, &scope)) {
            scanned[name] = std::move(project);
        } else {
            scanned.erase(name);
        }
    }
    return Publish(std::move(scanned));
}

bool ProjectCatalog::Publish(std::map<std::string, std::shared_ptr<const Project>> scanned) {
    bool changed = false;
    const std::uint64_t next = Revision() + 1;
    for (auto& [name, project] : scanned) {
        const auto known = projects_.find(name);
        const Project* old = known == projects_.end() ? nullptr : known->second.get();
        if (old == project.get()) {
            continue;  // not scanned this time
        }
        // A list in memory is compared whole; one known from the last run only by its ETag.
        const bool same =
            old != nullptr && (old->listJson.empty() ? old->etag == project->etag
                                                     : old->listJson == project->listJson);
        if (same && !old->listJson.empty()) {
            project = known->second;  // the published one stays, its compressed list with it
            continue;
        }
        auto fresh = std::const_pointer_cast<Project>(project);
        if (same) {
            fresh->changedAtRevision = old->changedAtRevision;
            fresh->lastModified = old->lastModified;
        } else {
            changed = true;
            fresh->changedAtRevision = next;
            fresh->lastModified = NowInSeconds();
        }
    }
    for (const auto& [name, project] : projects_) {
        changed = changed || scanned.count(name) == 0;
    }
    if (beforeSwap_ && !beforeSwap_(scanned)) {
        return false;
    }
    std::lock_guard lock(mutex_);
    if (changed) {
        revision_ = next;
    }
    projects_ = std::move(scanned);
    dirty_ = dirty_ || changed;
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

std::map<std::string, std::shared_ptr<const Project>> ProjectCatalog::Projects() const {
    std::lock_guard lock(mutex_);
    return projects_;
}

std::optional<std::filesystem::path> ProjectCatalog::ListedFile(
    const std::string& project, const std::string& relativePath) const {
    const std::shared_ptr<const Project> found = Find(project);
    if (!found || found->FindFile(relativePath) == nullptr) {
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
