#include "server/content_server.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "i18n/utf8_conversion.h"
#include "manifest/file_list_reader.h"
#include "net/change_feed.h"
#include "net/http_request.h"
#include "net/project_list.h"
#include "server/server_options.h"
#include "tests/support/content_server.h"
#include "tests/support/http_fixture.h"
#include "tests/support/tls_test_server.h"

namespace tavrin {
namespace {

using server::ContentServer;
using server::ServerConfig;

// A tavrin-server in this process over a sandbox root, spoken to through the engine's own
// HTTP layer.
class ContentServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        previousLock_ = plainHttpAllowed.exchange(true);
        test::WriteFile(sandbox_ / "root" / "alpha" / "content" / "a.txt", "alpha file");
        test::WriteFile(sandbox_ / "root" / "alpha" / "b c.ini", "spaced");
        test::WriteFile(sandbox_ / "root" / "beta" / "x.bin", "beta file");
        test::WriteFile(sandbox_ / "root" / ".hidden" / "h.txt", "hidden");
        test::WriteFile(sandbox_ / "secret.txt", "outside the root");
    }
    void TearDown() override {
        StopServer();
        plainHttpAllowed = previousLock_;
    }
    void StartServer(bool tls = false, const std::filesystem::path& stateFolder = {}) {
        ServerConfig config;
        config.stateFolder = stateFolder;
        if (tls) {
            config.tlsCertificate = test::TlsTestDataFolder() + "/server.pem";
            config.tlsKey = test::TlsTestDataFolder() + "/server.key";
        }
        config.root = sandbox_ / "root";
        config.port = 0;
        config.passwords["beta"] = "open sesame";
        config.scanIntervalSeconds = 0.2;
        server_ = std::make_unique<ContentServer>(config);
        std::string error;
        ASSERT_TRUE(server_->Start(error)) << error;
        thread_ = std::thread([this] { server_->Run(false); });
        session_ = HttpSession();
        session_.endpoint = {tls ? kSchemeHttps : kSchemeHttp, L"127.0.0.1", server_->Port(), L""};
        std::wstring openError;
        ASSERT_TRUE(OpenHttpSession(session_, openError, {2000, 2000, 5000, 15000}));
    }
    void StopServer() {
        if (server_) {
            server_->Stop();
            thread_.join();
            server_.reset();
        }
    }
    // Polls, stops, rewrites a file with the same size and time, and starts again: a server that
    // kept its revision and hashes reports the same revision and the old content's hash.
    void ExpectRestartKeepsRevisionAndHashes(const std::filesystem::path& stateFolder,
                                             const std::function<void()>& whileStopped) {
        StartServer(false, stateFolder);
        ChangeFeedResult before;
        std::wstring error;
        ASSERT_TRUE(PollChanges(Url(), L"", 0, 0, {}, before, error, nullptr));
        ReleaseChangeFeedConnection();
        StopServer();
        whileStopped();
        const auto file = sandbox_ / "root" / "alpha" / "content" / "a.txt";
        const auto time = std::filesystem::last_write_time(file);
        test::WriteFile(file, "ALPHA FILE");
        std::filesystem::last_write_time(file, time);
        StartServer(false, stateFolder);
        ChangeFeedResult after;
        ASSERT_TRUE(PollChanges(Url(), L"", 0, 0, {}, after, error, nullptr));
        EXPECT_EQ(after.revision, before.revision);
        std::string body;
        ASSERT_EQ(Get("/file_list/alpha", &body), 200U);
        EXPECT_NE(body.find(test::ContentServer::Sha256Hex("alpha file")), std::string::npos);
        ReleaseChangeFeedConnection();
    }
    std::wstring Url() const { return L"http://127.0.0.1:" + std::to_wstring(server_->Port()); }
    std::uint32_t Get(const std::string& path, std::string* body = nullptr,
                      const std::wstring& headers = L"") {
        HttpRequest request;
        request.endpointPath = Utf8ToWide(path);
        std::string ignored;
        request.outBody = body != nullptr ? body : &ignored;
        request.extraHeaders = headers;
        HttpResult result;
        std::wstring error;
        EXPECT_TRUE(ExecuteHttpRequest(session_, request, result, error)) << WideToUtf8(error);
        return result.status;
    }

    test::Sandbox sandbox_;
    std::unique_ptr<ContentServer> server_;
    std::thread thread_;
    HttpSession session_;
    bool previousLock_ = false;
};

TEST_F(ContentServerTest, projectsAreTheVisibleFoldersWithTheirPasswordFlag) {
    StartServer();
    std::vector<ProjectInfo> projects;
    std::wstring error;
    ASSERT_TRUE(FetchProjectList(Url(), L"", projects, error)) << WideToUtf8(error);
    ASSERT_EQ(projects.size(), 2U);
    EXPECT_EQ(projects[0].name, "alpha");
    EXPECT_FALSE(projects[0].requiresPassword);
    EXPECT_EQ(projects[1].name, "beta");
    EXPECT_TRUE(projects[1].requiresPassword);
    std::string plain;
    EXPECT_EQ(Get("/list_projects", &plain), 200U);
    EXPECT_EQ(plain, R"(["alpha","beta"])");
}

TEST_F(ContentServerTest, fileListHasEveryFileWithRealHashesAndAnEtag) {
    StartServer();
    std::string body;
    ASSERT_EQ(Get("/file_list/alpha", &body), 200U);
    FileListReader reader{body, 0};
    std::vector<FileListEntry> entries;
    FileListReadError error;
    ASSERT_TRUE(ReadFileList(reader, entries, error)) << error.message;
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].relativePath, "b c.ini");
    EXPECT_EQ(entries[1].relativePath, "content/a.txt");
    EXPECT_EQ(entries[1].size, 10U);
    EXPECT_EQ(entries[1].hash, test::ContentServer::Sha256Hex("alpha file"));
    EXPECT_GT(entries[1].mtime, 1.0e9);

    HttpRequest request;
    request.endpointPath = L"/file_list/alpha";
    std::wstring etag;
    request.outETag = &etag;
    request.outBody = &body;
    HttpResult result;
    std::wstring failure;
    ASSERT_TRUE(ExecuteHttpRequest(session_, request, result, failure));
    ASSERT_FALSE(etag.empty());
    EXPECT_EQ(Get("/file_list/alpha", nullptr, L"If-None-Match: " + etag + L"\r\n"), 304U);
}

TEST_F(ContentServerTest, gzipIsSentToClientsThatAcceptIt) {
    if (!test::HttpDecompressionWorks()) {
        GTEST_SKIP() << test::kNoDecompressionReason;
    }
    StartServer();
    HttpRequest request;
    request.endpointPath = L"/file_list/alpha";
    std::string body;
    request.outBody = &body;
    HttpResult result;
    std::wstring error;
    ASSERT_TRUE(ExecuteHttpRequest(session_, request, result, error));
    EXPECT_TRUE(result.info.gzipEncoded);
    EXPECT_EQ(body.front(), '[');
}

TEST_F(ContentServerTest, protectedProjectNeedsItsPassword) {
    StartServer();
    EXPECT_EQ(Get("/file_list/beta"), 401U);
    EXPECT_EQ(Get("/file_list/beta", nullptr, L"X-Project-Password: wrong\r\n"), 401U);
    EXPECT_EQ(Get("/file_list/beta", nullptr, L"X-Project-Password: open sesam\r\n"), 401U);
    EXPECT_EQ(Get("/file_list/beta", nullptr, L"X-Project-Password: open sesame\r\n"), 200U);
    EXPECT_EQ(Get("/download_file/beta/x.bin"), 401U);
    std::string body;
    EXPECT_EQ(Get("/download_file/beta/x.bin", &body, L"X-Project-Password: open sesame\r\n"),
              200U);
    EXPECT_EQ(body, "beta file");
}

TEST_F(ContentServerTest, unknownProjectsAreNotFound) {
    StartServer();
    EXPECT_EQ(Get("/file_list/gamma"), 404U);
    EXPECT_EQ(Get("/file_list/.hidden"), 404U);
    EXPECT_EQ(Get("/download_file/gamma/a.txt"), 404U);
}

TEST_F(ContentServerTest, downloadsServeListedFilesOnly) {
    StartServer();
    std::string body;
    EXPECT_EQ(Get("/download_file/alpha/content/a.txt", &body), 200U);
    EXPECT_EQ(body, "alpha file");
    EXPECT_EQ(Get("/download_file/alpha/b%20c.ini", &body), 200U);
    EXPECT_EQ(body, "spaced");
    for (const char* attempt :
         {"/download_file/alpha/../../secret.txt", "/download_file/alpha/%2E%2E/%2E%2E/secret.txt",
          "/download_file/alpha/..%2F..%2Fsecret.txt", "/download_file/alpha/..%5C..%5Csecret.txt",
          "/download_file/alpha/content%2F..%2F..%2F..%2Fsecret.txt",
          "/download_file/alpha//etc/passwd", "/download_file/alpha/%2Fetc%2Fpasswd",
          "/download_file/alpha%2Fcontent/a.txt", "/download_file/alpha/content",
          "/download_file/alpha/content%5Ca.txt", "/download_file/alpha/bad%zz"}) {
        EXPECT_EQ(Get(attempt, &body), 404U) << attempt;
        EXPECT_NE(body, "outside the root") << attempt;
    }
}

TEST_F(ContentServerTest, symbolicLinksAreNeverListedNorServed) {
    std::filesystem::create_symlink(sandbox_ / "secret.txt",
                                    sandbox_ / "root" / "alpha" / "link.txt");
    std::filesystem::create_directory_symlink(sandbox_.Root(), sandbox_ / "root" / "alpha" / "up");
    std::filesystem::create_directory_symlink(sandbox_ / "root" / "beta",
                                              sandbox_ / "root" / "gamma");
    StartServer();
    std::string body;
    ASSERT_EQ(Get("/file_list/alpha", &body), 200U);
    EXPECT_EQ(body.find("link.txt"), std::string::npos);
    EXPECT_EQ(body.find("up/"), std::string::npos);
    EXPECT_EQ(Get("/download_file/alpha/link.txt", &body), 404U);
    EXPECT_EQ(Get("/download_file/alpha/up/secret.txt", &body), 404U);
    EXPECT_EQ(Get("/file_list/gamma"), 404U);
}

TEST_F(ContentServerTest, oversizedHeadersAreRefused) {
    StartServer();
    const std::wstring huge = L"X-Padding: " + std::wstring(20000, L'a') + L"\r\n";
    EXPECT_EQ(Get("/list_projects", nullptr, huge), 431U);
}

TEST_F(ContentServerTest, changeDuringALongPollAnswersIt) {
    StartServer();
    ChangeFeedResult first;
    std::wstring error;
    ASSERT_TRUE(PollChanges(Url(), L"", 0, 0, {"alpha"}, first, error, nullptr))
        << WideToUtf8(error);
    const std::uint64_t revision = first.revision;
    std::thread changer([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        test::WriteFile(sandbox_ / "root" / "alpha" / "new.txt", "new");
    });
    const auto started = std::chrono::steady_clock::now();
    ChangeFeedResult result;
    ASSERT_TRUE(PollChanges(Url(), L"", revision, 10, {"alpha"}, result, error, nullptr))
        << WideToUtf8(error);
    changer.join();
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
    EXPECT_TRUE(result.hasChanges);
    EXPECT_GT(result.revision, revision);
    EXPECT_EQ(result.projects, (std::set<std::string>{"alpha"}));
    ReleaseChangeFeedConnection();
}

TEST_F(ContentServerTest, pollForAnotherProjectWaitsOutItsWait) {
    StartServer();
    ChangeFeedResult first;
    std::wstring error;
    ASSERT_TRUE(PollChanges(Url(), L"", 0, 0, {}, first, error, nullptr));
    std::thread changer([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        test::WriteFile(sandbox_ / "root" / "alpha" / "new.txt", "new");
    });
    ChangeFeedResult result;
    const auto started = std::chrono::steady_clock::now();
    ASSERT_TRUE(PollChanges(Url(), L"", first.revision, 2, {"beta"}, result, error, nullptr));
    changer.join();
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(1900));
    EXPECT_FALSE(result.hasChanges);
    ReleaseChangeFeedConnection();
}

TEST_F(ContentServerTest, revisionAheadOfTheServerAsksForAFullResync) {
    StartServer();
    ChangeFeedResult result;
    std::wstring error;
    ASSERT_TRUE(PollChanges(Url(), L"", 1000000, 5, {}, result, error, nullptr));
    EXPECT_TRUE(result.fullResync);
    EXPECT_LT(result.revision, 1000000U);
    ReleaseChangeFeedConnection();
}

TEST_F(ContentServerTest, restartKeepsTheRevisionAndTheHashes) {
    ExpectRestartKeepsRevisionAndHashes({}, [] {});
}

TEST_F(ContentServerTest, stateFolderOutsideTheRootKeepsTheRevisionAndLeavesTheRootAlone) {
    const auto state = sandbox_ / "state";
    ExpectRestartKeepsRevisionAndHashes(state, [&] {
        EXPECT_TRUE(std::filesystem::is_regular_file(state / "state.json"));
        EXPECT_TRUE(std::filesystem::is_regular_file(state / "hashes.txt"));
        EXPECT_FALSE(std::filesystem::exists(sandbox_ / "root" / ".tavrin-server"));
    });
}

TEST_F(ContentServerTest, holdsManyLongPollsAtOnce) {
    StartServer();
    ChangeFeedResult first;
    std::wstring error;
    ASSERT_TRUE(PollChanges(Url(), L"", 0, 0, {}, first, error, nullptr));
    ReleaseChangeFeedConnection();
    constexpr int kPolls = 64;
    std::atomic<int> answered{0};
    std::vector<std::thread> pollers;
    for (int i = 0; i < kPolls; ++i) {
        pollers.emplace_back([&] {
            ChangeFeedResult result;
            std::wstring failure;
            if (PollChanges(Url(), L"", first.revision, 20, {"alpha"}, result, failure, nullptr) &&
                result.hasChanges) {
                ++answered;
            }
            ReleaseChangeFeedConnection();
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    test::WriteFile(sandbox_ / "root" / "alpha" / "wake.txt", "wake");
    for (auto& poller : pollers) {
        poller.join();
    }
    EXPECT_EQ(answered, kPolls);
}

TEST_F(ContentServerTest, servesHttpsWithItsCertificate) {
    const test::ScopedEnvironment trust("SSL_CERT_FILE", test::TlsTestDataFolder() + "/ca.pem");
    StartServer(true);
    std::vector<ProjectInfo> projects;
    std::wstring error;
    ASSERT_TRUE(FetchProjectList(L"https://127.0.0.1:" + std::to_wstring(server_->Port()), L"",
                                 projects, error))
        << WideToUtf8(error);
    EXPECT_EQ(projects.size(), 2U);
    std::string body;
    EXPECT_EQ(Get("/download_file/alpha/content/a.txt", &body), 200U);
    EXPECT_EQ(body, "alpha file");
}

TEST(ContentServerStartTest, aMissingRootIsRefusedInsteadOfServedEmpty) {
    test::Sandbox sandbox;
    ServerConfig config;
    config.root = sandbox / "not-there";
    config.port = 0;
    ContentServer server(config);
    std::string error;
    EXPECT_FALSE(server.Start(error));
    EXPECT_EQ(error, "the root " + config.root.string() + " is not a folder");
}

TEST(ServerArgumentsTest, certificateAndKeyGoTogether) {
    ServerConfig config;
    std::string error;
    const char* arguments[] = {"tavrin-server", "--root", "/srv", "--tls-cert", "c.pem"};
    EXPECT_FALSE(server::ParseServerArguments(5, const_cast<char**>(arguments), config, error));
    EXPECT_EQ(error, "--tls-cert and --tls-key go together");
}

TEST(ServerArgumentsTest, stateDirNamesTheStateFolder) {
    ServerConfig config;
    std::string error;
    const char* arguments[] = {"tavrin-server", "--root", "/srv/tavrin", "--state-dir",
                               "/var/lib/tavrin-server"};
    ASSERT_TRUE(server::ParseServerArguments(5, const_cast<char**>(arguments), config, error))
        << error;
    EXPECT_EQ(config.stateFolder, std::filesystem::path("/var/lib/tavrin-server"));
    EXPECT_EQ(config.root, std::filesystem::path("/srv/tavrin"));
}

}  // namespace
}  // namespace tavrin
