#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "server/folder_changes.h"

namespace tavrin::server {

// One file of a project as the catalog keeps it: 64 bytes, its path stored once in the
// project's `paths` and its entry once in the list, so a project of 200,000 files costs about
// 20 MB besides its list.
struct CatalogFile {
    std::uint32_t pathOffset = 0;
    std::uint16_t pathLength = 0;  // a path has at most 4,096 bytes on Linux
    bool hashed = false;           // false when the file could not be read
    bool reused = false;           // while building: its list entry is the previous list's
    std::uint64_t size = 0;
    std::int64_t mtimeNs = 0;               // nanoseconds since 1970
    std::array<std::uint8_t, 32> digest{};  // SHA-256 of the contents
    std::uint32_t entryOffset = 0;          // its entry in the project's listJson
    std::uint32_t entryLength = 0;
};
static_assert(sizeof(CatalogFile) == 64);

// One published project: a folder directly under the root. Never changed once published:
// a rescan publishes a new one.
struct Project {
    std::string name;                // the folder's name, UTF-8
    std::string paths;               // the files' paths, one after another
    std::vector<CatalogFile> files;  // every regular file below it, sorted by path
    std::string listJson;            // the file list as served
    std::string etag;                // strong validator of listJson
    std::uint64_t changedAtRevision = 0;
    std::int64_t lastModified = 0;  // seconds since 1970 of the last change

    std::string_view PathOf(const CatalogFile& file) const {
        return std::string_view(paths).substr(file.pathOffset, file.pathLength);
    }
    const CatalogFile* FindFile(std::string_view path) const;
    std::string HashOf(const CatalogFile& file) const;  // lower-case hex, "" when not hashed

    // The list gzip-compressed. It is built after the list is published, so that a change
    // reaches waiting clients first; until then it is null and the list goes uncompressed.
    std::shared_ptr<const std::string> GzippedList() const;
    void SetGzippedList(std::shared_ptr<const std::string> gzipped) const;

private:
    mutable std::mutex gzipMutex_;
    mutable std::shared_ptr<const std::string> gzippedList_;
};

// The projects under the root, kept up to date by Rescan() and, between those, by Apply()
// for the folders a watcher saw change. Hashes are taken again only for files whose size or
// modification time changed; "hashes.txt" in the state folder keeps them over restarts, and
// "state.json" the revision. The state folder is "<root>/.tavrin-server" unless one is given:
// a service whose root is read-only keeps it elsewhere.
// Symbolic links are never followed nor listed. Lookups are thread-safe and never wait for a
// scan: scans build new projects aside and swap them in.
class ProjectCatalog {
public:
    explicit ProjectCatalog(std::filesystem::path root, std::filesystem::path stateFolder = {});

    // Scans the whole root again; true when any project's file list changed (the revision grew).
    bool Rescan();
    // Scans again only what `changes` names (everything when it says so); true as Rescan.
    bool Apply(const FolderChanges& changes);
    // Writes the hash cache and the revision when they changed since the last write.
    void Save();

    std::uint64_t Revision() const;
    std::vector<std::string> ProjectNames() const;
    std::shared_ptr<const Project> Find(const std::string& name) const;
    // Every project, by name, as one consistent snapshot.
    std::map<std::string, std::shared_ptr<const Project>> Projects() const;
    // The file of a project by its listed path, or nothing when it is not listed.
    std::optional<std::filesystem::path> ListedFile(const std::string& project,
                                                    const std::string& relativePath) const;
    // The highest revision at which one of `projects` (all when empty) changed.
    std::uint64_t LastChange(const std::vector<std::string>& projects) const;
    // Called by scans with the projects about to replace the current ones, before anyone can
    // see them; when it fails, the scan keeps the current projects and returns false.
    using BeforeSwap =
        std::function<bool(const std::map<std::string, std::shared_ptr<const Project>>&)>;
    void SetBeforeSwap(BeforeSwap beforeSwap) { beforeSwap_ = std::move(beforeSwap); }

    const std::filesystem::path& Root() const { return root_; }

private:
    struct Scope;
    void LoadState();
    void LoadHashCache();
    bool Publish(std::map<std::string, std::shared_ptr<const Project>> scanned);
    std::shared_ptr<Project> ScanProject(const std::string& name, const Scope* scope) const;
    const Project* Known(const std::string& name) const;

    std::filesystem::path root_;
    std::filesystem::path stateFolder_;
    std::mutex scanMutex_;  // one scan at a time
    mutable std::mutex mutex_;
    std::uint64_t revision_ = 0;
    std::map<std::string, std::shared_ptr<const Project>> projects_;
    BeforeSwap beforeSwap_;
    bool dirty_ = true;  // guarded by scanMutex_
};

}  // namespace tavrin::server
