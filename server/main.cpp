// tavrin-server: publishes the folders under --root as projects. See README.
#include <cstring>
#include <iostream>

#include "server/content_server.h"
#include "server/publish_folder.h"
#include "server/server_options.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavrin-server --root DIR [--listen HOST:PORT] [--scan-interval SECONDS]\n"
    "                     [--password PROJECT=SECRET]... [--password-file FILE]...\n"
    "                     [--state-dir DIR] [--tls-cert FILE --tls-key FILE]\n"
    "                     [--publish DIR]\n"
    "       tavrin-server publish --root DIR --out DIR [--state-dir DIR]\n"
    "                     [--password PROJECT=SECRET]... [--password-file FILE]...\n"
    "       tavrin-server --help | --version\n"
    "\n"
    "Publishes every folder under DIR as a project for Tavrin clients.\n"
    "\n"
    "  --root DIR              the folder whose subfolders are the projects\n"
    "  --listen HOST:PORT      where to listen (default 127.0.0.1:8080; port 0 picks one)\n"
    "  --scan-interval SECONDS how often the whole root is scanned again (default 300 while\n"
    "                          file events report changes, else 2)\n"
    "  --password PROJECT=SECRET\n"
    "                          protect a project; visible to every user in `ps`: prefer\n"
    "  --password-file FILE    one PROJECT=SECRET per line, '#' starts a comment; the file\n"
    "                          must be readable only by its owner (chmod 600)\n"
    "  --state-dir DIR         where the hash cache and the revision are kept\n"
    "                          (default: .tavrin-server inside the root)\n"
    "  --tls-cert FILE, --tls-key FILE\n"
    "                          serve HTTPS with this PEM certificate chain and key\n"
    "  --publish DIR           keep a static copy of the projects in DIR for a web server\n"
    "                          in front (see docs/nginx-tavrin.conf), updated before each\n"
    "                          change is announced\n"
    "\n"
    "publish writes that static tree once: list_projects, list_projects_meta,\n"
    "file_list/<project> (and .gz) and download_file/<project>/<path>, hard-linked where the\n"
    "file system allows, copied otherwise.\n";

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::cout << kUsage;
            return 0;
        }
        if (std::strcmp(argv[i], "--version") == 0) {
            std::cout << "tavrin-server " TAVRIN_VERSION "\n";
            return 0;
        }
    }
    tavrin::server::ServerConfig config;
    std::string error;
    const bool publishOnly = argc > 1 && std::strcmp(argv[1], "publish") == 0;
    if (!tavrin::server::ParseServerArguments(argc, argv, config, error, publishOnly)) {
        std::cerr << "tavrin-server: " << error << "\n\n" << kUsage;
        return 2;
    }
    if (publishOnly) {
        return tavrin::server::PublishOnce(config);
    }
    tavrin::server::ContentServer server(config);
    if (!server.Start(error)) {
        std::cerr << "tavrin-server: " << error << "\n";
        return 1;
    }
    std::cerr << "tavrin-server: serving " << config.root.string() << " on " << config.host << ":"
              << server.Port() << "\n";
    server.Run(true);
    std::cerr << "tavrin-server: stopped\n";
    return 0;
}
