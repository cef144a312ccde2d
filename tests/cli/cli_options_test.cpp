#include "cli/cli_options.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace tavrin {
namespace {

using cli::CliOptions;

// The message of a refused command line, or "accepted".
std::string Refusal(const std::vector<std::string>& words) {
    CliOptions options;
    std::string error;
    return cli::ParseCliOptions(words, options, error) ? "accepted" : error;
}

TEST(CliOptionsTest, optionsStandBeforeAndAfterTheCommand) {
    CliOptions options;
    std::string error;
    ASSERT_TRUE(cli::ParseCliOptions({"--data-dir",
                                      "/data",
                                      "--language",
                                      "de",
                                      "sync",
                                      "--server",
                                      "https://a",
                                      "--target",
                                      "/game",
                                      "--project",
                                      "one",
                                      "--project",
                                      "two",
                                      "--password",
                                      "one=se=cret",
                                      "--allow-http",
                                      "--no-target-check",
                                      "--json",
                                      "--wait",
                                      "-3"},
                                     options, error))
        << error;
    EXPECT_EQ(options.command, "sync");
    EXPECT_EQ(options.dataDir, "/data");
    EXPECT_EQ(options.language, "de");
    EXPECT_EQ(options.server, "https://a");
    EXPECT_EQ(options.target, "/game");
    EXPECT_EQ(options.projects, (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(options.passwords, (std::map<std::string, std::string>{{"one", "se=cret"}}));
    EXPECT_TRUE(options.allowHttp);
    EXPECT_TRUE(options.noTargetCheck);
    EXPECT_TRUE(options.json);
    EXPECT_EQ(options.waitSeconds, -3);
}

TEST(CliOptionsTest, aValueIsTheNextWordWhateverItLooksLike) {
    CliOptions options;
    std::string error;
    ASSERT_TRUE(cli::ParseCliOptions({"projects", "--server", "--help", "--language", "--",
                                      "--target", "sync", "--password", "a=[b,c]"},
                                     options, error))
        << error;
    EXPECT_EQ(options.command, "projects");
    EXPECT_EQ(options.server, "--help");
    EXPECT_EQ(options.language, "--");
    EXPECT_EQ(options.target, "sync");
    EXPECT_EQ(options.passwords.at("a"), "[b,c]");
    EXPECT_FALSE(options.dataDir.has_value());
    EXPECT_EQ(options.waitSeconds, 8);
}

TEST(CliOptionsTest, anOptionAndItsValueAreTwoWords) {
    EXPECT_EQ(Refusal({"projects", "--server=https://a"}), "unknown argument: --server=https://a");
    EXPECT_EQ(Refusal({"projects", "--server=", "https://a"}), "unknown argument: --server=");
    EXPECT_EQ(Refusal({"find-game", "--json=false"}), "unknown argument: --json=false");
    EXPECT_EQ(Refusal({"find-game", "-hx"}), "unknown argument: -hx");
    EXPECT_EQ(Refusal({"find-game", "/json"}), "unknown argument: /json");
    EXPECT_EQ(Refusal({"find-game", "--", "--json"}), "unknown argument: --");
    EXPECT_EQ(Refusal({"find-game", "--jso"}), "unknown argument: --jso");
    EXPECT_EQ(Refusal({"find-game", ""}), "unknown argument: ");
}

TEST(CliOptionsTest, helpAndVersionAnswerWhereverTheyStand) {
    CliOptions options;
    std::string error;
    ASSERT_TRUE(cli::ParseCliOptions({"sync", "-h", "--bogus"}, options, error)) << error;
    EXPECT_EQ(options.command, "help");
    ASSERT_TRUE(cli::ParseCliOptions({"--version", "--server"}, options, error)) << error;
    EXPECT_EQ(options.command, "version");
    // Words before them are read first.
    EXPECT_EQ(Refusal({"--bogus", "--help"}), "unknown argument: --bogus");
    EXPECT_EQ(Refusal({"--wait", "soon", "--version"}), "--wait takes a number of seconds");
}

TEST(CliOptionsTest, theFirstFaultOfTheCommandLineIsReported) {
    EXPECT_EQ(Refusal({"--bogus", "--password", "nameless"}), "unknown argument: --bogus");
    EXPECT_EQ(Refusal({"--password", "nameless", "--bogus"}), "--password takes NAME=SECRET");
    EXPECT_EQ(Refusal({"--password", "=secret"}), "--password takes NAME=SECRET");
    EXPECT_EQ(Refusal({"sync", "watch"}), "unknown argument: watch");
    EXPECT_EQ(Refusal({"stray", "--server"}), "unknown argument: stray");
    EXPECT_EQ(Refusal({"projects", "--server"}), "--server needs a value");
    EXPECT_EQ(Refusal({"projects", "--server", "u", "--wait", "5s"}),
              "--wait takes a number of seconds");
    EXPECT_EQ(Refusal({"projects", "--server", "u", "--wait", "+5"}),
              "--wait takes a number of seconds");
}

TEST(CliOptionsTest, eachCommandNeedsItsOptions) {
    EXPECT_EQ(Refusal({}), "no command given");
    EXPECT_EQ(Refusal({"--json"}), "no command given");
    EXPECT_EQ(Refusal({"projects"}), "projects needs --server");
    // sync and watch take what is missing from the window's settings later.
    EXPECT_EQ(Refusal({"sync"}), "accepted");
    EXPECT_EQ(Refusal({"watch", "--server", "u"}), "accepted");
    EXPECT_EQ(Refusal({"watch", "--server", "u", "--target", "t", "--project", "p"}), "accepted");
    EXPECT_EQ(Refusal({"find-game", "--server", "u", "--json"}), "accepted");
    EXPECT_EQ(Refusal({"dropped", "--server", "u", "--target", "t"}),
              "dropped needs at least one --project");
    EXPECT_EQ(Refusal({"dropped", "--target", "t", "--project", "p"}), "dropped needs --server");
    EXPECT_EQ(Refusal({"dropped", "--server", "u", "--target", "t", "--project", "p"}), "accepted");
}

}  // namespace
}  // namespace tavrin
