#include "server/publish_folder.h"

#include <iostream>
#include <memory>
#include <system_error>

#include "server/gzip.h"
#include "server/project_catalog.h"
#include "server/static_tree.h"

namespace tavrin::server {

bool CheckPublishFolder(const std::filesystem::path& root, const std::filesystem::path& out,
                        std::string& error) {
    std::error_code ec;
    const std::filesystem::path a = std::filesystem::weakly_canonical(root, ec);
    const std::filesystem::path b = std::filesystem::weakly_canonical(out, ec);
    const auto inside = [](const std::filesystem::path& inner, const std::filesystem::path& outer) {
        const auto rest = inner.lexically_relative(outer);
        return !rest.empty() && *rest.begin() != "..";
    };
    if (ec || inside(a, b) || inside(b, a)) {
        error = "the published tree " + out.string() + " must lie outside the root " +
                root.string() + ", and the root outside it";
        return false;
    }
    return true;
}

int PublishOnce(const ServerConfig& config) {
    std::string error;
    std::error_code ec;
    if (!std::filesystem::is_directory(config.root, ec)) {
        std::cerr << "tavrin-server: the root " << config.root.string() << " is not a folder\n";
        return 1;
    }
    if (!CheckPublishFolder(config.root, config.publishFolder, error)) {
        std::cerr << "tavrin-server: " << error << "\n";
        return 2;
    }
    ProjectCatalog catalog(config.root, config.stateFolder);
    catalog.Rescan();
    StaticTree tree(config.publishFolder, config.passwords);
    auto projects = catalog.Projects();
    bool ok = tree.Publish(projects, config.root, error);
    for (const auto& [name, project] : projects) {
        project->SetGzippedList(std::make_shared<const std::string>(Gzip(project->listJson)));
    }
    ok = ok && tree.PublishGzippedLists(projects, error);
    catalog.Save();
    if (!ok) {
        std::cerr << "tavrin-server: " << error << "\n";
        return 1;
    }
    std::size_t files = 0;
    for (const auto& [name, project] : projects) {
        files += project->files.size();
    }
    std::cerr << "tavrin-server: published " << projects.size() << " projects and " << files
              << " files to " << config.publishFolder.string() << " (" << tree.Counts().linked
              << " linked, " << tree.Counts().copied << " copied, " << tree.Counts().removed
              << " removed)\n";
    return 0;
}

}  // namespace tavrin::server
