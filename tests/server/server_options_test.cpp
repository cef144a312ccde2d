#include "server/server_options.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace tavrin {
namespace {

using server::ServerConfig;

// Parses `words` after the program's name; `error` is "accepted" when they are.
ServerConfig Parse(std::vector<std::string> words, std::string& error, bool publishOnly = false) {
    words.insert(words.begin(), "tavrin-server");
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    ServerConfig config;
    if (server::ParseServerArguments(static_cast<int>(argv.size()), argv.data(), config, error,
                                     publishOnly)) {
        error = "accepted";
    }
    return config;
}

std::string Refusal(std::vector<std::string> words, bool publishOnly = false) {
    std::string error;
    Parse(std::move(words), error, publishOnly);
    return error;
}

TEST(ServerOptionsTest, everyOptionIsRead) {
    std::string error;
    const ServerConfig config =
        Parse({"--listen",    "0.0.0.0:0",  "--root",     "/srv",       "--scan-interval",
               "2.5",         "--password", "a=se=cret",  "--password", "b=",
               "--state-dir", "/var/lib/t", "--tls-cert", "c.pem",      "--tls-key",
               "k.pem",       "--publish",  "/www",       "--root",     "/srv/tavrin"},
              error);
    EXPECT_EQ(error, "accepted");
    EXPECT_EQ(config.root, "/srv/tavrin");
    EXPECT_EQ(config.host, "0.0.0.0");
    EXPECT_EQ(config.port, 0);
    EXPECT_EQ(config.scanIntervalSeconds, 2.5);
    EXPECT_EQ(config.passwords, (std::map<std::string, std::string>{{"a", "se=cret"}, {"b", ""}}));
    EXPECT_EQ(config.stateFolder, "/var/lib/t");
    EXPECT_EQ(config.tlsCertificate, "c.pem");
    EXPECT_EQ(config.tlsKey, "k.pem");
    EXPECT_EQ(config.publishFolder, "/www");
}

TEST(ServerOptionsTest, theDefaultsStandWithoutTheirOptions) {
    std::string error;
    const ServerConfig config = Parse({"--root", "/srv"}, error);
    EXPECT_EQ(error, "accepted");
    EXPECT_EQ(config.host, "127.0.0.1");
    EXPECT_EQ(config.port, 8080);
    EXPECT_EQ(config.scanIntervalSeconds, 0);
    EXPECT_TRUE(config.passwords.empty());
    EXPECT_TRUE(config.publishFolder.empty());
}

TEST(ServerOptionsTest, theScanIntervalHasAFloor) {
    std::string error;
    EXPECT_EQ(Parse({"--root", "/srv", "--scan-interval", "0"}, error).scanIntervalSeconds, 0.1);
    EXPECT_EQ(Parse({"--root", "/srv", "--scan-interval", "often"}, error).scanIntervalSeconds,
              0.1);
}

TEST(ServerOptionsTest, publishReadsOnlyItsOwnOptions) {
    std::string error;
    const ServerConfig config = Parse(
        {"publish", "--root", "/srv", "--out", "/www", "--state-dir", "/s", "--password", "a=b"},
        error, true);
    EXPECT_EQ(error, "accepted");
    EXPECT_EQ(config.publishFolder, "/www");
    EXPECT_EQ(config.stateFolder, "/s");
    EXPECT_EQ(config.passwords.at("a"), "b");
    EXPECT_EQ(Refusal({"publish", "--root", "/srv", "--out", "/www", "--listen", "h:1"}, true),
              "unknown or incomplete argument: --listen");
    EXPECT_EQ(Refusal({"publish", "--root", "/srv", "--publish", "/www"}, true),
              "unknown or incomplete argument: --publish");
    EXPECT_EQ(Refusal({"publish", "--root", "/srv"}, true), "--out is required");
    EXPECT_EQ(Refusal({"--root", "/srv", "--out", "/www"}),
              "unknown or incomplete argument: --out");
}

TEST(ServerOptionsTest, anOptionAndItsValueAreTwoWords) {
    EXPECT_EQ(Refusal({"--root=/srv"}), "unknown or incomplete argument: --root=/srv");
    EXPECT_EQ(Refusal({"--root=", "/srv"}), "unknown or incomplete argument: --root=");
    EXPECT_EQ(Refusal({"--root", "/srv", "--listen"}), "unknown or incomplete argument: --listen");
    EXPECT_EQ(Refusal({"--root", "/srv", "--", "--state-dir", "s"}),
              "unknown or incomplete argument: --");
    EXPECT_EQ(Refusal({"--root", "/srv", "-h"}), "unknown or incomplete argument: -h");
    EXPECT_EQ(Refusal({"--root", "/srv", "stray"}), "unknown or incomplete argument: stray");
    std::string error;
    EXPECT_EQ(Parse({"--root", "--listen"}, error).root, "--listen");
    EXPECT_EQ(error, "accepted");
}

TEST(ServerOptionsTest, theFirstFaultOfTheCommandLineIsReported) {
    EXPECT_EQ(Refusal({"--bogus", "--password", "nameless"}),
              "unknown or incomplete argument: --bogus");
    EXPECT_EQ(Refusal({"--password", "nameless", "--bogus"}), "--password takes PROJECT=SECRET");
    EXPECT_EQ(Refusal({"--listen", "8080", "--root"}), "--listen takes HOST:PORT");
    EXPECT_EQ(Refusal({"--listen", "h:65536"}), "--listen takes HOST:PORT");
    EXPECT_EQ(Refusal({"--listen", "h:"}), "--listen takes HOST:PORT");
    EXPECT_EQ(Refusal({}), "--root is required");
    EXPECT_EQ(Refusal({"--root", "/srv", "--tls-key", "k.pem"}),
              "--tls-cert and --tls-key go together");
}

}  // namespace
}  // namespace tavrin
