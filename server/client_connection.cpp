#include "server/client_connection.h"

#include "server/content_server_impl.h"

#include <boost/beast.hpp>
#include <boost/beast/ssl.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "net/percent_encoding.h"
#include "server/project_list_json.h"

namespace tavrin::server {

namespace {

constexpr std::uint32_t kHeaderLimit = 8192;  // request line and headers together

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
class ClientConnection : public std::enable_shared_from_this<ClientConnection<Stream>> {
public:
    ClientConnection(tcp::socket socket, ContentServer::Impl& server)
        : stream_(std::move(socket)), server_(server) {}
    ClientConnection(tcp::socket socket, asio::ssl::context& tls, ContentServer::Impl& server)
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

void ServeConnection(tcp::socket socket, asio::ssl::context* tls, ContentServer::Impl& server) {
    if (tls != nullptr) {
        std::make_shared<ClientConnection<TlsStream>>(std::move(socket), *tls, server)->Start();
    } else {
        std::make_shared<ClientConnection<PlainStream>>(std::move(socket), server)->Start();
    }
}

}  // namespace tavrin::server
