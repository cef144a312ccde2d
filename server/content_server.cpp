#include "server/content_server.h"

#include "server/content_server_impl.h"

#include <malloc.h>
#include <algorithm>
#include <chrono>
#include <future>
#include <iostream>

#include "server/client_connection.h"
#include "server/gzip.h"
#include "server/publish_folder.h"

namespace tavrin::server {

namespace {

// Compares without leaking where the texts differ through timing.
bool SameSecret(const std::string& given, const std::string& expected) {
    unsigned char difference = given.size() == expected.size() ? 0 : 1;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const unsigned char g = i < given.size() ? static_cast<unsigned char>(given[i]) : 0;
        difference |= static_cast<unsigned char>(g ^ static_cast<unsigned char>(expected[i]));
    }
    return difference == 0;
}

// A mistyped or not yet mounted root would otherwise be served as a server without projects,
// and a service user that may not list the root would see no projects just the same.
bool CheckRoot(const std::filesystem::path& root, std::string& error) {
    std::error_code rootError;
    if (!std::filesystem::is_directory(root, rootError)) {
        error = "the root " + root.string() + " is not a folder";
        return false;
    }
    if (std::filesystem::directory_iterator(root, rootError); rootError) {
        error = "the root " + root.string() + " cannot be read: " + rootError.message();
        return false;
    }
    return true;
}

}  // namespace

bool ContentServer::Impl::Authorised(const std::string& project,
                                     const http::request<http::empty_body>& request) {
    const auto required = config.passwords.find(project);
    if (required == config.passwords.end()) {
        return true;
    }
    const auto given = request.find("X-Project-Password");
    return given != request.end() && SameSecret(std::string(given->value()), required->second);
}

void ContentServer::Impl::Accept() {
    acceptor.async_accept([this](beast::error_code ec, tcp::socket socket) {
        if (stopping) {
            return;
        }
        if (!ec) {
            ServeConnection(std::move(socket), tls ? &*tls : nullptr, *this);
        }
        Accept();
    });
}

void ContentServer::Impl::WakePolls() {
    for (auto it = polls.begin(); it != polls.end();) {
        auto poll = it->lock();
        if (!poll || poll->answered) {
            it = polls.erase(it);
            continue;
        }
        if (catalog.LastChange(poll->projects) > poll->since) {
            poll->answer();
            it = polls.erase(it);
            continue;
        }
        ++it;
    }
}

void ContentServer::Impl::WatchAndScan() {
    using namespace std::chrono;
    using Clock = steady_clock;
    auto next = Clock::now();
    bool waiting = false;
    while (!stopping) {
        // Timed full rescans are the safety net under events; without events, the only way.
        const double seconds = config.scanIntervalSeconds > 0    ? config.scanIntervalSeconds
                               : watching && watcher->Complete() ? 300.0
                                                                 : 2.0;
        if (!waiting) {
            next = Clock::now() + (publishFailed
                                       ? duration_cast<Clock::duration>(milliseconds(2000))
                                       : duration_cast<Clock::duration>(duration<double>(seconds)));
            waiting = true;
        }
        bool changed = false;
        if (watching) {
            const auto left = duration_cast<milliseconds>(next - Clock::now());
            const FolderChanges changes =
                watcher->Collect(std::clamp(left, milliseconds(0), milliseconds(500)),
                                 config.eventQuiet, milliseconds(2000));
            if (const std::string notice = watcher->TakeNotice(); !notice.empty()) {
                std::cerr << "tavrin-server: " << notice << "\n";
            }
            changed = !changes.Empty() && catalog.Apply(changes);
            if (publishFailed) {
                next = std::min(next, Clock::now() + milliseconds(2000));  // a full rescan retries
            }
        } else {
            std::this_thread::sleep_for(milliseconds(50));
        }
        if (stopping) {
            break;
        }
        if (Clock::now() >= next) {
            changed = catalog.Rescan() || changed;
            waiting = false;
        }
        if (changed) {
            AfterChange();
        }
    }
}

// Runs before a scan's result becomes visible: the tree has a change before any client can
// hear of it, through a waiting poll or a new one.
bool ContentServer::Impl::PublishStaticTree(
    const std::map<std::string, std::shared_ptr<const Project>>& projects) {
    std::string error;
    publishFailed = !staticTree->Publish(projects, config.root, error);
    if (publishFailed) {
        std::cerr << "tavrin-server: " << error << "\n";
    }
    return !publishFailed;
}

// The polls first, then what only saves time or work later: compressed lists, the state.
void ContentServer::Impl::AfterChange(bool pollsWait) {
    if (pollsWait) {
        // The answers get the processor to themselves before the compression starts.
        auto woken = std::make_shared<std::promise<void>>();
        asio::post(io, [this, woken] {
            WakePolls();
            woken->set_value();
        });
        woken->get_future().wait_for(std::chrono::seconds(1));
    }
    for (const auto& [name, project] : catalog.Projects()) {
        if (!project->GzippedList()) {
            project->SetGzippedList(std::make_shared<const std::string>(Gzip(project->listJson)));
        }
    }
    if (staticTree) {
        std::string error;
        if (!staticTree->PublishGzippedLists(catalog.Projects(), error)) {
            std::cerr << "tavrin-server: " << error << "\n";
        }
    }
    catalog.Save();
    // The old lists were large and short-lived: give their memory back to the system.
    ::malloc_trim(0);
}

bool ContentServer::Impl::Listen(std::string& error) {
    beast::error_code ec;
    const auto address = asio::ip::make_address(config.host, ec);
    if (ec) {
        error = "invalid listen address " + config.host;
        return false;
    }
    const tcp::endpoint endpoint(address, config.port);
    acceptor.open(endpoint.protocol(), ec);
    acceptor.set_option(asio::socket_base::reuse_address(true), ec);
    acceptor.bind(endpoint, ec);
    if (!ec) {
        acceptor.listen(asio::socket_base::max_listen_connections, ec);
    }
    if (ec) {
        error = "cannot listen on " + config.host + ":" + std::to_string(config.port) + ": " +
                ec.message();
        return false;
    }
    return true;
}

bool ContentServer::Impl::LoadTls(std::string& error) {
    beast::error_code ec;
    auto& context = tls.emplace(asio::ssl::context::tls_server);
    context.set_options(asio::ssl::context::default_workarounds | asio::ssl::context::no_sslv2 |
                        asio::ssl::context::no_sslv3 | asio::ssl::context::no_tlsv1 |
                        asio::ssl::context::no_tlsv1_1);
    context.use_certificate_chain_file(config.tlsCertificate.string(), ec);
    if (!ec) {
        context.use_private_key_file(config.tlsKey.string(), asio::ssl::context::pem, ec);
    }
    if (ec) {
        error = "cannot load the TLS certificate or key: " + ec.message();
        return false;
    }
    return true;
}

ContentServer::ContentServer(ServerConfig config)
    : impl_(std::make_unique<Impl>(std::move(config))) {}

ContentServer::~ContentServer() {
    Stop();
}

bool ContentServer::Start(std::string& error) {
    if (!CheckRoot(impl_->config.root, error) || !impl_->Listen(error)) {
        return false;
    }
    if (!impl_->config.tlsCertificate.empty() && !impl_->LoadTls(error)) {
        return false;
    }
    if (!impl_->config.publishFolder.empty()) {
        if (!CheckPublishFolder(impl_->config.root, impl_->config.publishFolder, error)) {
            return false;
        }
        impl_->staticTree.emplace(impl_->config.publishFolder, impl_->config.passwords);
        impl_->catalog.SetBeforeSwap([impl = impl_.get()](const auto& projects) {
            return impl->PublishStaticTree(projects);
        });
    }
    impl_->port = impl_->acceptor.local_endpoint().port();
    // Watching starts before the first scan, so nothing changed in between goes unseen.
    std::string watchError;
    impl_->watching = impl_->watcher->Start(impl_->config.root, watchError);
    if (!impl_->watching) {
        std::cerr << "tavrin-server: " << watchError << "; scanning on a timer alone\n";
    }
    impl_->catalog.Rescan();
    if (impl_->publishFailed) {
        error = "cannot publish to " + impl_->config.publishFolder.string();
        return false;
    }
    impl_->AfterChange(false);  // nobody waits yet, and the I/O thread is not running
    impl_->Accept();
    return true;
}

std::uint16_t ContentServer::Port() const {
    return impl_->port;
}

void ContentServer::Run(bool handleSignals) {
    std::optional<asio::signal_set> signals;
    if (handleSignals) {
        signals.emplace(impl_->io, SIGINT, SIGTERM);
        signals->async_wait([this](beast::error_code, int) { Stop(); });
    }
    impl_->scanner = std::thread([this] { impl_->WatchAndScan(); });
    impl_->io.run();
    if (impl_->scanner.joinable()) {
        impl_->scanner.join();
    }
}

void ContentServer::Stop() {
    if (impl_->stopping.exchange(true)) {
        return;
    }
    impl_->watcher->Interrupt();
    asio::post(impl_->io, [this] {
        beast::error_code ignored;
        impl_->acceptor.close(ignored);
        impl_->io.stop();
    });
}

}  // namespace tavrin::server
