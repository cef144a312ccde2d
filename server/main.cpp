// tavrin-server: publishes the folders under --root as projects. See README.
#include <iostream>

#include "server/content_server.h"

int main(int argc, char** argv) {
    tavrin::server::ServerConfig config;
    std::string error;
    if (!tavrin::server::ParseServerArguments(argc, argv, config, error)) {
        std::cerr << "tavrin-server: " << error << "\n\n"
                  << "Usage: tavrin-server --root DIR [--listen HOST:PORT] "
                     "[--password PROJECT=SECRET]... [--scan-interval SECONDS]\n"
                     "                     [--tls-cert FILE --tls-key FILE]\n";
        return 2;
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
