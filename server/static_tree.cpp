#include "server/static_tree.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "base/file_io.h"
#include "i18n/utf8_conversion.h"
#include "server/folder_walk.h"
#include "server/project_list_json.h"

namespace tavrin::server {
namespace {

constexpr std::int64_t kBillion = 1'000'000'000;

bool SameFile(const CatalogFile& a, const CatalogFile& b) {
    return a.size == b.size && a.mtimeNs == b.mtimeNs && a.digest == b.digest;
}

bool Publishable(const std::string& name) {
    const auto endsWith = [&](std::string_view end) {
        return name.size() >= end.size() &&
               name.compare(name.size() - end.size(), end.size(), end) == 0;
    };
    return !endsWith(".gz") && !endsWith(".tmp");
}

// Whether `dest` already holds the listed file: the same inode (a link made earlier, or the
// file changed in place since) or a copy with the listed size and time.
bool AlreadyThere(const std::filesystem::path& dest, const CatalogFile& file) {
    struct stat info {};
    if (::lstat(dest.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return false;
    }
    const std::int64_t mtimeNs =
        static_cast<std::int64_t>(info.st_mtim.tv_sec) * kBillion + info.st_mtim.tv_nsec;
    return static_cast<std::uint64_t>(info.st_size) == file.size && mtimeNs == file.mtimeNs;
}

enum class CopyOutcome { kCopied, kSourceFailed, kTargetFailed };

CopyOutcome CopyInto(const NativeHandle& folder, std::string_view name,
                     const std::filesystem::path& to, std::int64_t mtimeNs) {
    NativeHandle source;
    std::uint32_t code = 0;
    if (!OpenFileForReading(folder, name, source, code)) {
        return CopyOutcome::kSourceFailed;
    }
    const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (out < 0) {
        return CopyOutcome::kTargetFailed;
    }
    bool ok = true;
    for (;;) {
        const ssize_t sent = ::sendfile(out, static_cast<int>(source.Get()), nullptr, 1 << 20);
        if (sent == 0) {
            break;
        }
        if (sent < 0) {
            ok = false;
            break;
        }
    }
    const timespec times[2] = {
        {0, UTIME_OMIT},
        {static_cast<time_t>(mtimeNs / kBillion), static_cast<long>(mtimeNs % kBillion)}};
    ok = ok && ::futimens(out, times) == 0;
    ok = ::close(out) == 0 && ok;
    return ok ? CopyOutcome::kCopied : CopyOutcome::kTargetFailed;
}

// Makes the folders of `path` below `base`, removing a file that stands where one must go
// (a file the root has since replaced by a folder).
bool MakeFolders(const std::filesystem::path& base, const std::filesystem::path& relative) {
    std::filesystem::path at = base;
    std::error_code ec;
    std::filesystem::create_directories(base, ec);
    for (const auto& part : relative) {
        at /= part;
        struct stat info {};
        if (::lstat(at.c_str(), &info) == 0 && !S_ISDIR(info.st_mode)) {
            std::filesystem::remove(at, ec);
        }
        if (::mkdir(at.c_str(), 0755) != 0 && errno != EEXIST) {
            return false;
        }
    }
    return true;
}

std::string Problem(const std::filesystem::path& path) {
    return "cannot write " + path.string() + ": " + std::strerror(errno);
}

}  // namespace

StaticTree::StaticTree(std::filesystem::path out, std::map<std::string, std::string> passwords)
    : out_(std::move(out)), passwords_(std::move(passwords)) {}

bool StaticTree::PublishFiles(const Project& project, const Project* before,
                              const std::filesystem::path& root, std::string& error) {
    NativeHandle top;
    NativeHandle projectFolder;
    if (OpenTopFolder(PathToWide(root), top).outcome != FolderOutcome::kOpened ||
        OpenChildFolder(top, project.name, false, projectFolder).outcome !=
            FolderOutcome::kOpened) {
        return true;  // gone since the scan: the next scan withdraws it
    }
    const std::filesystem::path base = out_ / "download_file" / Utf8ToPath(project.name);
    std::string openFolder;  // files come sorted, so neighbours share their folder
    NativeHandle folder;
    bool folderOpen = false;
    for (const CatalogFile& file : project.files) {
        const std::string_view path = project.PathOf(file);
        if (const CatalogFile* old = before ? before->FindFile(path) : nullptr;
            old != nullptr && SameFile(*old, file)) {
            continue;
        }
        if (!file.hashed) {
            ++counts_.skipped;  // unreadable for the scan, unreadable for a copy
            continue;
        }
        const std::filesystem::path relative = Utf8ToPath(std::string(path));
        const std::filesystem::path dest = base / relative;
        if (AlreadyThere(dest, file)) {
            continue;
        }
        const std::size_t slash = path.rfind('/');
        const std::string parent(slash == std::string_view::npos ? "" : path.substr(0, slash));
        const std::string name(slash == std::string_view::npos ? path : path.substr(slash + 1));
        if (!folderOpen || parent != openFolder) {
            folderOpen = OpenFolderBelow(projectFolder, parent, folder);
            openFolder = parent;
        }
        if (!folderOpen) {
            ++counts_.skipped;
            continue;
        }
        if (!MakeFolders(base, relative.parent_path())) {
            error = Problem(dest.parent_path());
            return false;
        }
        if (!PlaceFile(folder, name, file, dest, error)) {
            return false;
        }
    }
    return true;
}

// Links the listed file into the tree under a temporary name, or copies it where it cannot be
// linked, then renames it into place. A file gone since the scan, or one that cannot be read,
// is passed over; false only when the tree itself cannot be written.
bool StaticTree::PlaceFile(const NativeHandle& folder, const std::string& name,
                           const CatalogFile& file, const std::filesystem::path& dest,
                           std::string& error) {
    const std::filesystem::path temporary =
        dest.parent_path() / (".tavrin-publish-" + std::to_string(++staging_));
    ::unlink(temporary.c_str());
    // linkat without AT_SYMLINK_FOLLOW links the name itself, never a link's target.
    if (::linkat(static_cast<int>(folder.Get()), name.c_str(), AT_FDCWD, temporary.c_str(), 0) ==
        0) {
        ++counts_.linked;
    } else if (errno == ENOENT) {
        return true;  // gone since the scan
    } else if (const CopyOutcome copy = CopyInto(folder, name, temporary, file.mtimeNs);
               copy == CopyOutcome::kCopied) {
        ++counts_.copied;
    } else {
        ::unlink(temporary.c_str());
        if (copy == CopyOutcome::kSourceFailed) {
            ++counts_.skipped;
            return true;
        }
        error = Problem(dest);
        return false;
    }
    // A folder the root has since replaced by this file goes first.
    struct stat info {};
    std::error_code ec;
    if (::lstat(dest.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        std::filesystem::remove_all(dest, ec);
    }
    if (::rename(temporary.c_str(), dest.c_str()) != 0) {
        error = Problem(dest);
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

void StaticTree::RemoveUnlisted(const Project& project, const Project* before) {
    const std::filesystem::path base = out_ / "download_file" / Utf8ToPath(project.name);
    std::error_code ec;
    if (before != nullptr) {
        for (const CatalogFile& file : before->files) {
            if (project.FindFile(before->PathOf(file)) == nullptr) {
                std::filesystem::remove(base / Utf8ToPath(std::string(before->PathOf(file))), ec);
                ++counts_.removed;
            }
        }
        return;
    }
    // First publication into a tree an earlier run may have filled.
    std::vector<std::filesystem::path> stale;
    for (auto it = std::filesystem::recursive_directory_iterator(base, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
        if (!it->is_directory(ec) &&
            project.FindFile(PathToUtf8(it->path().lexically_relative(base).generic_string())) ==
                nullptr) {
            stale.push_back(it->path());
        }
    }
    for (const std::filesystem::path& path : stale) {
        std::filesystem::remove(path, ec);
        ++counts_.removed;
    }
}

void StaticTree::RemoveLeftOverProjects(
    const std::map<std::string, std::shared_ptr<const Project>>& kept) {
    std::error_code ec;
    for (const char* folder : {"file_list", "download_file"}) {
        std::vector<std::filesystem::path> stale;
        for (const auto& entry : std::filesystem::directory_iterator(out_ / folder, ec)) {
            std::string name = PathToUtf8(entry.path().filename());
            if (std::string_view(folder) == "file_list" && name.size() > 3 &&
                name.compare(name.size() - 3, 3, ".gz") == 0) {
                name.resize(name.size() - 3);
            }
            if (kept.count(name) == 0) {
                stale.push_back(entry.path());
            }
        }
        for (const std::filesystem::path& path : stale) {
            std::filesystem::remove_all(path, ec);
        }
    }
}

bool StaticTree::WriteList(const std::string& name, const std::string& bytes, bool gzipped,
                           std::string& error) {
    const std::filesystem::path list =
        out_ / "file_list" / Utf8ToPath(gzipped ? name + ".gz" : name);
    if (!WriteFileReplacing(list, bytes)) {
        error = Problem(list);
        return false;
    }
    std::int64_t& seconds = listTimes_[name];
    if (!gzipped) {
        const std::int64_t now = std::chrono::duration_cast<std::chrono::seconds>(
                                     std::chrono::system_clock::now().time_since_epoch())
                                     .count();
        seconds = std::max(now, seconds + 1);
    }
    const timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(seconds), 0}};
    ::utimensat(AT_FDCWD, list.c_str(), times, 0);
    return true;
}

bool StaticTree::Publish(const std::map<std::string, std::shared_ptr<const Project>>& all,
                         const std::filesystem::path& root, std::string& error) {
    std::map<std::string, std::shared_ptr<const Project>> projects;
    for (const auto& [name, project] : all) {
        if (Publishable(name)) {
            projects[name] = project;
        }
    }
    std::error_code ec;
    std::filesystem::create_directories(out_ / "file_list", ec);
    std::filesystem::create_directories(out_ / "download_file", ec);
    std::vector<std::string> names;
    for (const auto& [name, project] : projects) {
        names.push_back(name);
        const auto before = published_.find(name);
        if (before != published_.end() && before->second == project) {
            continue;
        }
        const Project* old = before == published_.end() ? nullptr : before->second.get();
        if (!PublishFiles(*project, old, root, error)) {
            return false;
        }
        // A compressed list of the old files must not outlive them: drop it first.
        std::filesystem::remove(out_ / "file_list" / Utf8ToPath(name + ".gz"), ec);
        gzipped_.erase(name);
        if (!WriteList(name, project->listJson, false, error)) {
            return false;
        }
    }
    for (const bool meta : {false, true}) {
        const std::filesystem::path list = out_ / (meta ? "list_projects_meta" : "list_projects");
        if (!WriteFileReplacing(list, ProjectListJson(names, passwords_, meta))) {
            error = Problem(list);
            return false;
        }
    }
    for (const auto& [name, project] : projects) {
        const auto before = published_.find(name);
        if (before == published_.end() || before->second != project) {
            RemoveUnlisted(*project, before == published_.end() ? nullptr : before->second.get());
        }
    }
    for (const auto& [name, project] : published_) {
        if (projects.count(name) == 0) {
            std::filesystem::remove(out_ / "file_list" / Utf8ToPath(name), ec);
            std::filesystem::remove(out_ / "file_list" / Utf8ToPath(name + ".gz"), ec);
            counts_.removed += project->files.size();
            std::filesystem::remove_all(out_ / "download_file" / Utf8ToPath(name), ec);
            gzipped_.erase(name);
        }
    }
    if (first_) {
        RemoveLeftOverProjects(projects);  // what an earlier run published and the root lost
        first_ = false;
    }
    published_ = std::move(projects);
    return true;
}

bool StaticTree::PublishGzippedLists(
    const std::map<std::string, std::shared_ptr<const Project>>& projects, std::string& error) {
    for (const auto& [name, project] : projects) {
        const auto published = published_.find(name);
        if (gzipped_.count(name) > 0 || published == published_.end() ||
            published->second != project) {
            continue;
        }
        const auto gzipped = project->GzippedList();
        if (!gzipped) {
            continue;
        }
        if (!WriteList(name, *gzipped, true, error)) {
            return false;
        }
        gzipped_.insert(name);
    }
    return true;
}

}  // namespace tavrin::server
