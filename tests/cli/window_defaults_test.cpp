#include "cli/window_defaults.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace tavrin::cli {
namespace {

// A settings file as the window writes it, in a folder of the test's own.
class WindowDefaultsTest : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = std::filesystem::temp_directory_path() /
                  ("tavrin-window-defaults-" +
                   std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(folder_);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }
    void Write(const std::string& text) { std::ofstream(folder_ / "Tavrin.ini") << text; }
    std::string Plan(CliOptions options, std::vector<CliOptions>& runs) {
        std::string error;
        return PlanSyncRuns(options, folder_ / "Tavrin.ini", runs, error) ? "planned" : error;
    }
    static CliOptions Command(const std::string& name) {
        CliOptions options;
        options.command = name;
        return options;
    }

    std::filesystem::path folder_;
};

constexpr const char* kTwoServers =
    "[General]\n"
    "target_path=/games/ac\n"
    "selected_domains=http://a:1|http://b:2\n"
    "selected_projects=http://a:1|Cars, http://a:1|Club, http://b:2|Tracks\n"
    "[ProjectPasswords]\n"
    "1\\key=http://a:1|club\n"
    "1\\password=pw\n"
    "size=1\n";

TEST_F(WindowDefaultsTest, aSyncWithoutOptionsRunsEveryServerWithTickedProjects) {
    Write(kTwoServers);
    std::vector<CliOptions> runs;
    ASSERT_EQ(Plan(Command("sync"), runs), "planned");
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[0].server, "http://a:1");
    EXPECT_EQ(runs[0].projects, (std::vector<std::string>{"Cars", "Club"}));
    EXPECT_EQ(runs[0].passwords.at("Club"), "pw");
    EXPECT_EQ(runs[0].target, "/games/ac");
    EXPECT_FALSE(runs[0].allowHttp);  // the lock is on unless the settings lift it
    EXPECT_EQ(runs[1].server, "http://b:2");
    EXPECT_EQ(runs[1].projects, std::vector<std::string>{"Tracks"});
}

TEST_F(WindowDefaultsTest, optionsOnTheCommandLineWin) {
    Write(kTwoServers);
    CliOptions options = Command("sync");
    options.server = "http://A:1/";
    options.target = "/elsewhere";
    options.passwords["Club"] = "given";
    std::vector<CliOptions> runs;
    ASSERT_EQ(Plan(options, runs), "planned");
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].projects, (std::vector<std::string>{"Cars", "Club"}));
    EXPECT_EQ(runs[0].passwords.at("Club"), "given");
    EXPECT_EQ(runs[0].target, "/elsewhere");
    options.projects = {"Other"};
    ASSERT_EQ(Plan(options, runs), "planned");
    EXPECT_EQ(runs[0].projects, std::vector<std::string>{"Other"});
}

TEST_F(WindowDefaultsTest, whatIsStillMissingIsNamed) {
    std::vector<CliOptions> runs;
    EXPECT_EQ(Plan(Command("sync"), runs), "sync needs --server (there are no window settings in " +
                                               (folder_ / "Tavrin.ini").string() + ")");
    Write("[General]\nselected_projects=http://a:1|Cars\n");
    EXPECT_EQ(Plan(Command("sync"), runs),
              "sync needs --target (the window's settings have no game folder)");
    Write("[General]\ntarget_path=/g\n");
    EXPECT_EQ(Plan(Command("sync"), runs),
              "sync needs --server (the window's settings tick no project)");
    CliOptions options = Command("sync");
    options.server = "http://c:3";
    EXPECT_EQ(Plan(options, runs),
              "sync needs at least one --project (the window's settings tick no project on "
              "http://c:3)");
    Write(kTwoServers);
    EXPECT_EQ(Plan(Command("watch"), runs),
              "watch follows one server; the window's settings tick projects on 2: give --server");
}

TEST_F(WindowDefaultsTest, theWindowsLiftedLockLetsPlainHttpThrough) {
    Write(
        "[General]\ntarget_path=/g\nhttp_lock_enabled=false\nselected_projects=http://a:1|Cars\n");
    std::vector<CliOptions> runs;
    ASSERT_EQ(Plan(Command("sync"), runs), "planned");
    EXPECT_TRUE(runs[0].allowHttp);
}

}  // namespace
}  // namespace tavrin::cli
