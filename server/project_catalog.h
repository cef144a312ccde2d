#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "manifest/file_list_entry.h"

namespace tavrin::server {

// One published project: a folder directly under the root.
struct Project {
    std::string name;                  // the folder's name, UTF-8
    std::vector<FileListEntry> files;  // every regular file below it, sorted by path
    std::string listJson;              // the file list as served
    std::string etag;                  // strong validator of listJson
    std::uint64_t changedAtRevision = 0;
    std::int64_t lastModified = 0;  // seconds since 1970 of the last change
};

// The projects under the root, kept up to date by Rescan(). Hashes are cached by path, size
// and modification time, in memory and in "hashes.json" of the state folder, so a restart
// hashes nothing that did not change; the revision ("state.json") survives restarts too. The
// state folder is "<root>/.tavrin-server" unless one is given: a service whose root is
// read-only keeps it elsewhere.
// Symbolic links are never followed nor listed. Thread-safe.
class ProjectCatalog {
public:
    explicit ProjectCatalog(std::filesystem::path root, std::filesystem::path stateFolder = {});

    // Scans the root again; true when any project's file list changed (the revision grew).
    bool Rescan();

    std::uint64_t Revision() const;
    std::vector<std::string> ProjectNames() const;
    std::shared_ptr<const Project> Find(const std::string& name) const;
    // The file of a project by its listed path, or nothing when it is not listed.
    std::optional<std::filesystem::path> ListedFile(const std::string& project,
                                                    const std::string& relativePath) const;
    // The highest revision at which one of `projects` (all when empty) changed.
    std::uint64_t LastChange(const std::vector<std::string>& projects) const;

private:
    void LoadState();
    void SaveState() const;
    std::string HashOf(const std::filesystem::path& file, std::uint64_t size, double mtime,
                       const std::string& key);

    std::filesystem::path root_;
    std::filesystem::path stateFolder_;
    mutable std::mutex mutex_;
    std::uint64_t revision_ = 0;
    std::map<std::string, std::shared_ptr<const Project>> projects_;
    struct CachedHash {
        std::uint64_t size = 0;
        double mtime = 0;
        std::string hash;
    };
    std::map<std::string, CachedHash> hashes_;  // key: "<project>/<path>"
    bool savedOnce_ = false;
};

}  // namespace tavrin::server
