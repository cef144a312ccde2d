#pragma once

#include "server/content_server.h"

// Boost 1.74's Asio needs <utility> before it with GCC 12.
#include <utility>

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/http.hpp>

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "server/folder_watcher.h"
#include "server/project_catalog.h"
#include "server/static_tree.h"

namespace tavrin::server {

// The names the server's connection code is written with.
namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;

struct PendingPoll;

// The server's state: ContentServer's own, and read by the connections it serves.
struct ContentServer::Impl {
    ServerConfig config;
    ProjectCatalog catalog;
    boost::asio::io_context io;
    boost::asio::ip::tcp::acceptor acceptor{io};
    std::uint16_t port = 0;
    std::atomic<bool> stopping{false};
    std::thread scanner;
    std::list<std::weak_ptr<PendingPoll>> polls;   // touched on the I/O thread only
    std::optional<boost::asio::ssl::context> tls;  // set when serving https
    std::unique_ptr<FolderWatcher> watcher = CreateFolderWatcher();
    bool watching = false;
    std::optional<StaticTree> staticTree;  // set with --publish

    explicit Impl(ServerConfig c)
        : config(std::move(c)), catalog(config.root, config.stateFolder) {}

    bool Listen(std::string& error);
    bool LoadTls(std::string& error);
    void Accept();
    void WakePolls();
    void WatchAndScan();
    bool publishFailed = false;  // the last publication failed; scanner thread only
    bool PublishStaticTree(const std::map<std::string, std::shared_ptr<const Project>>& projects);
    void AfterChange(bool pollsWait = true);
    bool Authorised(const std::string& project,
                    const boost::beast::http::request<boost::beast::http::empty_body>& request);
};

// A change-feed request held until the revision passes `since` or the wait runs out.
struct PendingPoll {
    std::function<void()> answer;
    std::uint64_t since = 0;
    std::vector<std::string> projects;
    boost::asio::steady_timer timer;
    bool answered = false;
    explicit PendingPoll(boost::asio::io_context& io) : timer(io) {}
};

}  // namespace tavrin::server
