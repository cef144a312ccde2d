#include "server/content_server.h"
#include "server/password_file.h"

// Boost 1.74's Asio needs <utility> before it with GCC 12.
#include <utility>

#include <zlib.h>
#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast.hpp>
#include <boost/beast/ssl.hpp>

#include <malloc.h>
#include <atomic>
#include <charconv>
#include <chrono>
#include <future>
#include <iostream>
#include <list>
#include <nlohmann/json.hpp>
#include <thread>

#include "net/percent_encoding.h"
#include "server/folder_watcher.h"
#include "server/gzip.h"
#include "server/project_catalog.h"
#include "server/project_list_json.h"
#include "server/static_tree.h"

namespace tavrin::server {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;

namespace {

constexpr std::uint32_t kHeaderLimit = 8192;  // request line and headers together

// Compares without leaking where the texts differ through timing.
bool SameSecret(const std::string& given, const std::string& expected) {
    unsigned char difference = given.size() == expected.size() ? 0 : 1;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const unsigned char g = i < given.size() ? static_cast<unsigned char>(given[i]) : 0;
        difference |= static_cast<unsigned char>(g ^ static_cast<unsigned char>(expected[i]));
    }
    return difference == 0;
}

std::string HttpDate(std::int64_t seconds) {
    const std::time_t time = static_cast<std::time_t>(seconds);
    std::tm utc{};
    gmtime_r(&time, &utc);
    char text[64];
    std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &utc);
    return text;
}

std::map<std::string, std::string> QueryOf(std::string_view target) {
    std::map<std::string, std::string> query;
    const std::size_t question = target.find('?');
    if (question == std::string_view::npos) {
        return query;
    }
    std::string_view rest = target.substr(question + 1);
    while (!rest.empty()) {
        const std::size_t amp = rest.find('&');
        const std::string_view pair = rest.substr(0, amp);
        const std::size_t equals = pair.find('=');
        query[std::string(pair.substr(0, equals))] =
            equals == std::string_view::npos ? "" : std::string(pair.substr(equals + 1));
        rest = amp == std::string_view::npos ? std::string_view() : rest.substr(amp + 1);
    }
    return query;
}

std::uint64_t NumberOr(const std::string& text, std::uint64_t fallback) {
    std::uint64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() ? value : fallback;
}

using StringResponse = http::response<http::string_body>;
using FileResponse = http::response<http::file_body>;

}  // namespace

struct PendingPoll;

struct ContentServer::Impl {
    ServerConfig config;
    ProjectCatalog catalog;
    asio::io_context io;
    tcp::acceptor acceptor{io};
    std::uint16_t port = 0;
    std::atomic<bool> stopping{false};
    std::thread scanner;
    std::list<std::weak_ptr<PendingPoll>> polls;  // touched on the I/O thread only
    std::optional<asio::ssl::context> tls;        // set when serving https
    std::unique_ptr<FolderWatcher> watcher = CreateFolderWatcher();
    bool watching = false;
    std::optional<StaticTree> staticTree;  // set with --publish

    explicit Impl(ServerConfig c)
        : config(std::move(c)), catalog(config.root, config.stateFolder) {}

    void Accept();
    void WakePolls();
    void WatchAndScan();
    bool publishFailed = false;  // the last publication failed; scanner thread only
    bool PublishStaticTree(const std::map<std::string, std::shared_ptr<const Project>>& projects);
    void AfterChange(bool pollsWait = true);
    bool Authorised(const std::string& project, const http::request<http::empty_body>& request) {
        const auto required = config.passwords.find(project);
        if (required == config.passwords.end()) {
            return true;
        }
        const auto given = request.find("X-Project-Password");
        return given != request.end() && SameSecret(std::string(given->value()), required->second);
    }
};

// A change-feed request held until the revision passes `since` or the wait runs out.
struct PendingPoll {
    std::function<void()> answer;
    std::uint64_t since = 0;
    std::vector<std::string> projects;
    asio::steady_timer timer;
    bool answered = false;
    explicit PendingPoll(asio::io_context& io) : timer(io) {}
};

namespace {

using PlainStream = beast::tcp_stream;
using TlsStream = beast::ssl_stream<beast::tcp_stream>;

tcp::socket& SocketOf(PlainStream& stream) {
    return stream.socket();
}
tcp::socket& SocketOf(TlsStream& stream) {
    return beast::get_lowest_layer(stream).socket();
}

// One connection: requests read and answered in turn (keep-alive), over plain TCP or TLS.
template <class Stream>
class Session : public std::enable_shared_from_this<Session<Stream>> {
public:
    Session(tcp::socket socket, ContentServer::Impl& server)
        : stream_(std::move(socket)), server_(server) {}
    Session(tcp::socket socket, asio::ssl::context& tls, ContentServer::Impl& server)
        : stream_(std::move(socket), tls), server_(server) {}

    void Start() {
        if constexpr (std::is_same_v<Stream, TlsStream>) {
            stream_.async_handshake(asio::ssl::stream_base::server,
                                    [self = this->shared_from_this()](beast::error_code ec) {
                                        if (!ec) {
                                            self->Read();
                                        }
                                    });
        } else {
            Read();
        }
    }

private:
    void Read() {
        parser_.emplace();
        parser_->header_limit(kHeaderLimit);
        parser_->body_limit(0);
        http::async_read(stream_, buffer_, *parser_,
                         [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
                             self->OnRead(ec);
                         });
    }

    void OnRead(beast::error_code ec) {
        if (ec == http::error::header_limit || ec == http::error::body_limit) {
            StringResponse response{http::status::request_header_fields_too_large, 11};
            response.body() = "request too large";
            response.set(http::field::connection, "close");
            SendString(std::move(response), false);
            return;
        }
        if (ec) {
            return;  // the client went away
        }
        request_ = parser_->release();
        Handle();
    }

    void Log(unsigned status, std::uint64_t bytes) {
        beast::error_code ec;
        const auto remote = SocketOf(stream_).remote_endpoint(ec);
        std::cerr << (ec ? std::string("-") : remote.address().to_string()) << " \""
                  << request_.method_string() << " " << request_.target() << "\" " << status << " "
                  << bytes << "\n";
    }

    void SendString(StringResponse response, bool keepAlive) {
        response.set(http::field::server, "tavrin-server");
        response.keep_alive(keepAlive);
        response.prepare_payload();
        Log(response.result_int(), response.body().size());
        auto shared = std::make_shared<StringResponse>(std::move(response));
        http::async_write(
            stream_, *shared,
            [self = this->shared_from_this(), shared](beast::error_code ec, std::size_t) {
                self->AfterWrite(ec, shared->keep_alive());
            });
    }

    void AfterWrite(beast::error_code ec, bool keepAlive) {
        if (ec || !keepAlive || server_.stopping) {
            beast::error_code ignored;
            SocketOf(stream_).shutdown(tcp::socket::shutdown_send, ignored);
            return;
        }
        Read();
    }

    StringResponse Reply(http::status status, std::string body,
                         const char* type = "application/json") {
        StringResponse response{status, request_.version()};
        response.set(http::field::content_type, type);
        response.body() = std::move(body);
        return response;
    }

    void Handle() {
        const std::string target(request_.target());
        const std::string path = target.substr(0, target.find('?'));
        const bool keepAlive = request_.keep_alive();
        if (request_.method() != http::verb::get) {
            SendString(Reply(http::status::method_not_allowed, "GET only", "text/plain"),
                       keepAlive);
        } else if (path == "/list_projects" || path == "/list_projects_meta") {
            SendString(ProjectList(path == "/list_projects_meta"), keepAlive);
        } else if (path.rfind("/file_list/", 0) == 0) {
            SendString(FileList(path.substr(11)), keepAlive);
        } else if (path.rfind("/download_file/", 0) == 0) {
            Download(path.substr(15), keepAlive);
        } else if (path == "/changes") {
            Changes(target, keepAlive);
        } else {
            SendString(Reply(http::status::not_found, "not found", "text/plain"), keepAlive);
        }
    }

    StringResponse ProjectList(bool meta) {
        return Reply(http::status::ok, ProjectListJson(server_.catalog.ProjectNames(),
                                                       server_.config.passwords, meta));
    }

    StringResponse FileList(const std::string& encoded) {
        std::string name;
        const auto project = PercentDecode(encoded, name) ? server_.catalog.Find(name) : nullptr;
        if (!project) {
            return Reply(http::status::not_found, "unknown project", "text/plain");
        }
        if (!server_.Authorised(name, request_)) {
            return Reply(http::status::unauthorized, "password required", "text/plain");
        }
        const auto ifNoneMatch = request_.find(http::field::if_none_match);
        if (ifNoneMatch != request_.end() && ifNoneMatch->value() == project->etag) {
            StringResponse response = Reply(http::status::not_modified, "");
            response.set(http::field::etag, project->etag);
            return response;
        }
        StringResponse response = Reply(http::status::ok, project->listJson);
        response.set(http::field::etag, project->etag);
        response.set(http::field::last_modified, HttpDate(project->lastModified));
        const auto accept = request_.find(http::field::accept_encoding);
        if (accept != request_.end() &&
            std::string(accept->value()).find("gzip") != std::string::npos) {
            // Compressed once per list; a moment after a change the list goes out plain.
            if (const auto gzipped = project->GzippedList()) {
                response.body() = *gzipped;
                response.set(http::field::content_encoding, "gzip");
            }
        }
        return response;
    }

    void Download(const std::string& rest, bool keepAlive) {
        const std::size_t slash = rest.find('/');
        std::string project;
        std::string relative;
        if (slash == std::string::npos || !PercentDecode(rest.substr(0, slash), project) ||
            !PercentDecode(rest.substr(slash + 1), relative)) {
            SendString(Reply(http::status::not_found, "not found", "text/plain"), keepAlive);
            return;
        }
        if (server_.catalog.Find(project) && !server_.Authorised(project, request_)) {
            SendString(Reply(http::status::unauthorized, "password required", "text/plain"),
                       keepAlive);
            return;
        }
        // Only listed files are served: nothing outside a project, no links, no hidden trick.
        const auto file = server_.catalog.ListedFile(project, relative);
        beast::error_code ec;
        http::file_body::value_type body;
        if (file) {
            body.open(file->c_str(), beast::file_mode::scan, ec);
        }
        if (!file || ec) {
            SendString(Reply(http::status::not_found, "not found", "text/plain"), keepAlive);
            return;
        }
        const std::uint64_t size = body.size();
        auto response = std::make_shared<FileResponse>(
            std::piecewise_construct, std::make_tuple(std::move(body)),
            std::make_tuple(http::status::ok, request_.version()));
        response->set(http::field::server, "tavrin-server");
        response->set(http::field::content_type, "application/octet-stream");
        response->content_length(size);
        response->keep_alive(keepAlive);
        Log(200, size);
        http::async_write(
            stream_, *response,
            [self = this->shared_from_this(), response](beast::error_code error, std::size_t) {
                self->AfterWrite(error, response->keep_alive());
            });
    }

    void Changes(const std::string& target, bool keepAlive) {
        auto query = QueryOf(target);
        const std::uint64_t since = NumberOr(query["since"], 0);
        const int wait = static_cast<int>(std::min<std::uint64_t>(NumberOr(query["wait"], 0), 120));
        std::vector<std::string> projects;
        std::string_view list = query["projects"];
        while (!list.empty()) {
            const std::size_t comma = list.find(',');
            std::string decoded;
            if (PercentDecode(list.substr(0, comma), decoded) && !decoded.empty()) {
                projects.push_back(decoded);
            }
            list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
        }
        const std::uint64_t revision = server_.catalog.Revision();
        if (since > revision || server_.catalog.LastChange(projects) > since || wait == 0) {
            SendString(ChangeAnswer(since, projects), keepAlive);
            return;
        }
        auto poll = std::make_shared<PendingPoll>(server_.io);
        poll->since = since;
        poll->projects = projects;
        std::weak_ptr<PendingPoll> weak = poll;
        poll->answer = [self = this->shared_from_this(), since, projects, keepAlive, weak] {
            if (auto held = weak.lock(); held && !held->answered) {
                held->answered = true;
                held->timer.cancel();
                self->SendString(self->ChangeAnswer(since, projects), keepAlive);
                self->poll_.reset();
            }
        };
        poll->timer.expires_after(std::chrono::seconds(wait));
        poll->timer.async_wait([weak](beast::error_code ec) {
            if (auto held = weak.lock(); held && !ec) {
                held->answer();
            }
        });
        poll_ = poll;
        server_.polls.push_back(poll);
    }

    StringResponse ChangeAnswer(std::uint64_t since, const std::vector<std::string>& projects) {
        const std::uint64_t revision = server_.catalog.Revision();
        nlohmann::json changed = nlohmann::json::array();
        nlohmann::json required = nlohmann::json::object();
        const bool reset = since > revision;
        for (const std::string& name : server_.catalog.ProjectNames()) {
            const bool watched = projects.empty() || std::find(projects.begin(), projects.end(),
                                                               name) != projects.end();
            if (!watched) {
                continue;
            }
            const auto project = server_.catalog.Find(name);
            if (project && (reset || project->changedAtRevision > since)) {
                changed.push_back(name);
            }
            required[name] = server_.config.passwords.count(name) > 0;
        }
        nlohmann::json answer = {
            {"revision", revision}, {"has_changes", !changed.empty()},       {"full_resync", reset},
            {"projects", changed},  {"project_password_required", required}, {"retry_after_ms", 0}};
        return Reply(http::status::ok,
                     answer.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    }

    Stream stream_;
    beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::empty_body>> parser_;
    http::request<http::empty_body> request_;
    std::shared_ptr<PendingPoll> poll_;  // a held change request keeps itself alive here
    ContentServer::Impl& server_;
};

}  // namespace

void ContentServer::Impl::Accept() {
    acceptor.async_accept([this](beast::error_code ec, tcp::socket socket) {
        if (stopping) {
            return;
        }
        if (!ec) {
            if (tls) {
                std::make_shared<Session<TlsStream>>(std::move(socket), *tls, *this)->Start();
            } else {
                std::make_shared<Session<PlainStream>>(std::move(socket), *this)->Start();
            }
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

ContentServer::ContentServer(ServerConfig config)
    : impl_(std::make_unique<Impl>(std::move(config))) {}

ContentServer::~ContentServer() {
    Stop();
}

bool ContentServer::Start(std::string& error) {
    // A mistyped or not yet mounted root would otherwise be served as a server without projects.
    std::error_code rootError;
    if (!std::filesystem::is_directory(impl_->config.root, rootError)) {
        error = "the root " + impl_->config.root.string() + " is not a folder";
        return false;
    }
    // A service user that may not list the root would see no projects just the same.
    if (std::filesystem::directory_iterator(impl_->config.root, rootError); rootError) {
        error =
            "the root " + impl_->config.root.string() + " cannot be read: " + rootError.message();
        return false;
    }
    beast::error_code ec;
    const auto address = asio::ip::make_address(impl_->config.host, ec);
    if (ec) {
        error = "invalid listen address " + impl_->config.host;
        return false;
    }
    const tcp::endpoint endpoint(address, impl_->config.port);
    impl_->acceptor.open(endpoint.protocol(), ec);
    impl_->acceptor.set_option(asio::socket_base::reuse_address(true), ec);
    impl_->acceptor.bind(endpoint, ec);
    if (!ec) {
        impl_->acceptor.listen(asio::socket_base::max_listen_connections, ec);
    }
    if (ec) {
        error = "cannot listen on " + impl_->config.host + ":" +
                std::to_string(impl_->config.port) + ": " + ec.message();
        return false;
    }
    if (!impl_->config.tlsCertificate.empty()) {
        auto& tls = impl_->tls.emplace(asio::ssl::context::tls_server);
        tls.set_options(asio::ssl::context::default_workarounds | asio::ssl::context::no_sslv2 |
                        asio::ssl::context::no_sslv3 | asio::ssl::context::no_tlsv1 |
                        asio::ssl::context::no_tlsv1_1);
        tls.use_certificate_chain_file(impl_->config.tlsCertificate.string(), ec);
        if (!ec) {
            tls.use_private_key_file(impl_->config.tlsKey.string(), asio::ssl::context::pem, ec);
        }
        if (ec) {
            error = "cannot load the TLS certificate or key: " + ec.message();
            return false;
        }
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

bool ParseServerArguments(int argc, char** argv, ServerConfig& config, std::string& error,
                          bool publishOnly) {
    std::vector<std::filesystem::path> passwordFiles;
    for (int i = publishOnly ? 2 : 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool hasValue = i + 1 < argc;
        if (word == "--root" && hasValue) {
            config.root = argv[++i];
        } else if (word == (publishOnly ? "--out" : "--publish") && hasValue) {
            config.publishFolder = argv[++i];
        } else if (publishOnly && word != "--password" && word != "--password-file" &&
                   word != "--state-dir") {
            error = "unknown or incomplete argument: " + word;
            return false;
        } else if (word == "--listen" && hasValue) {
            const std::string value = argv[++i];
            const std::size_t colon = value.rfind(':');
            std::uint64_t port = 0;
            if (colon == std::string::npos ||
                std::from_chars(value.data() + colon + 1, value.data() + value.size(), port).ec !=
                    std::errc() ||
                port > 65535) {
                error = "--listen takes HOST:PORT";
                return false;
            }
            config.host = value.substr(0, colon);
            config.port = static_cast<std::uint16_t>(port);
        } else if (word == "--password" && hasValue) {
            const std::string value = argv[++i];
            const std::size_t equals = value.find('=');
            if (equals == std::string::npos || equals == 0) {
                error = "--password takes PROJECT=SECRET";
                return false;
            }
            config.passwords[value.substr(0, equals)] = value.substr(equals + 1);
        } else if (word == "--password-file" && hasValue) {
            passwordFiles.emplace_back(argv[++i]);
        } else if (word == "--state-dir" && hasValue) {
            config.stateFolder = argv[++i];
        } else if (word == "--tls-cert" && hasValue) {
            config.tlsCertificate = argv[++i];
        } else if (word == "--tls-key" && hasValue) {
            config.tlsKey = argv[++i];
        } else if (word == "--scan-interval" && hasValue) {
            config.scanIntervalSeconds = std::max(0.1, std::atof(argv[++i]));
        } else {
            error = "unknown or incomplete argument: " + word;
            return false;
        }
    }
    if (config.root.empty()) {
        error = "--root is required";
        return false;
    }
    if (publishOnly && config.publishFolder.empty()) {
        error = "--out is required";
        return false;
    }
    // After the whole command line: a --password given there wins over any file.
    for (const std::filesystem::path& file : passwordFiles) {
        if (!ReadPasswordFile(file, config.passwords, error)) {
            return false;
        }
    }
    if (config.tlsCertificate.empty() != config.tlsKey.empty()) {
        error = "--tls-cert and --tls-key go together";
        return false;
    }
    return true;
}

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
