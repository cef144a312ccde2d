#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "server/project_catalog.h"
#include "sync/folder_handle.h"

namespace tavrin::server {

// How much a publication wrote.
struct PublishCounts {
    std::uint64_t linked = 0;  // files hard-linked into the tree
    std::uint64_t copied = 0;  // files copied where links are impossible (another file system)
    std::uint64_t removed = 0;
    std::uint64_t skipped = 0;  // files that could not be read; clients are told of no hash
};

// Keeps a folder that any web server can serve under the protocol's own paths:
// "list_projects", "list_projects_meta", "file_list/<project>" with its ".gz" beside it, and
// "download_file/<project>/<path>". A project's files are in place before the list that names
// them, and files are removed only after the lists that no longer name them, so a client
// never meets a list whose files are missing. Only a failure to write the tree fails a
// publication; a file that cannot be read is left out. Projects named "*.gz" or "*.tmp" are
// not published: their lists would collide with the compressed and temporary files.
class StaticTree {
public:
    StaticTree(std::filesystem::path out, std::map<std::string, std::string> passwords);

    // Publishes the files and lists of `projects` that changed since the last call (all of
    // them on the first), then the project lists, then removes what is no longer listed.
    // Compressed lists follow with PublishGzippedLists(). False with a message.
    bool Publish(const std::map<std::string, std::shared_ptr<const Project>>& projects,
                 const std::filesystem::path& root, std::string& error);
    // Writes "file_list/<project>.gz" for the projects whose compressed list is ready.
    bool PublishGzippedLists(const std::map<std::string, std::shared_ptr<const Project>>& projects,
                             std::string& error);

    const PublishCounts& Counts() const { return counts_; }

private:
    bool PublishFiles(const Project& project, const Project* before,
                      const std::filesystem::path& root, std::string& error);
    bool PlaceFile(const NativeHandle& folder, const std::string& name, const CatalogFile& file,
                   const std::filesystem::path& dest, std::string& error);
    void RemoveUnlisted(const Project& project, const Project* before);
    void RemoveLeftOverProjects(const std::map<std::string, std::shared_ptr<const Project>>& kept);
    bool WriteList(const std::string& name, const std::string& bytes, bool gzipped,
                   std::string& error);

    std::filesystem::path out_;
    std::map<std::string, std::string> passwords_;
    std::map<std::string, std::shared_ptr<const Project>> published_;
    std::set<std::string> gzipped_;  // projects whose ".gz" matches the published list
    // The time given to each list: a new list gets a later second, so that a web server's
    // ETag (time and size) changes with it.
    std::map<std::string, std::int64_t> listTimes_;
    bool first_ = true;
    std::uint64_t staging_ = 0;  // numbers temporary names
    PublishCounts counts_;
};

}  // namespace tavrin::server
