#include "app/window_settings_file.h"

#include <gtest/gtest.h>

#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

using Values = std::vector<std::string>;

TEST(QtIniValueTest, valuesReadAsQtWritesThem) {
    EXPECT_EQ(ParseQtIniValue("C:\\\\Games\\\\Assetto Corsa"), Values{"C:\\Games\\Assetto Corsa"});
    EXPECT_EQ(ParseQtIniValue("\"a, b\""), Values{"a, b"});
    EXPECT_EQ(ParseQtIniValue("http://x|Cars, http://x|Club Pack"),
              (Values{"http://x|Cars", "http://x|Club Pack"}));
    EXPECT_EQ(ParseQtIniValue("\"http://x|A, B\", http://x|C"),
              (Values{"http://x|A, B", "http://x|C"}));
    EXPECT_EQ(ParseQtIniValue("\"  padded \""), Values{"  padded "});
    EXPECT_EQ(ParseQtIniValue("say \\\"hi\\\"\\n"), Values{"say \"hi\"\n"});
    EXPECT_EQ(ParseQtIniValue("caf\\xe9"), Values{"caf\xC3\xA9"});
    EXPECT_EQ(ParseQtIniValue("Gr\xC3\xBC\xC3\x9F"
                              "e"),
              Values{"Gr\xC3\xBC\xC3\x9F"
                     "e"});
    EXPECT_EQ(ParseQtIniValue("@@at"), Values{"@at"});
    EXPECT_EQ(ParseQtIniValue("@Invalid()"), Values{});
    EXPECT_EQ(ParseQtIniValue(""), Values{""});
}

TEST(WindowSyncSettingsTest, theTickedProjectsOfTheSelectedServersWithTheirPasswords) {
    test::Sandbox sandbox;
    test::WriteFile(sandbox / "Tavrin.ini",
                    "[General]\r\n"
                    "target_path=/games/Assetto Corsa\r\n"
                    "http_lock_enabled=false\r\n"
                    "selected_domains=http://127.0.0.1:8000|https://Other.example\r\n"
                    "selected_projects=http://127.0.0.1:8000|Cars, http://127.0.0.1:8000|Club "
                    "Pack, https://other.example|Tracks, https://gone.example|Old\r\n"
                    "\r\n"
                    "[ProjectPasswords]\r\n"
                    "1\\key=http://127.0.0.1:8000|club pack\r\n"
                    "1\\password=\"s3cret, with a comma\"\r\n"
                    "size=1\r\n");
    WindowSyncSettings settings;
    ASSERT_TRUE(ReadWindowSyncSettings(sandbox / "Tavrin.ini", settings));
    EXPECT_EQ(settings.targetFolder, "/games/Assetto Corsa");
    EXPECT_FALSE(settings.httpLockEnabled);
    EXPECT_EQ(settings.tickedProjects.size(), 2U);  // the unselected server's tick is left out
    EXPECT_EQ(settings.tickedProjects["http://127.0.0.1:8000"], (Values{"Cars", "Club Pack"}));
    EXPECT_EQ(settings.tickedProjects["https://other.example"], Values{"Tracks"});
    EXPECT_EQ(settings.passwords.at("http://127.0.0.1:8000|club pack"), "s3cret, with a comma");
}

TEST(WindowSyncSettingsTest, aMissingFileIsReportedAndTheLockStaysOn) {
    test::Sandbox sandbox;
    WindowSyncSettings settings;
    EXPECT_FALSE(ReadWindowSyncSettings(sandbox / "absent.ini", settings));
    EXPECT_TRUE(settings.httpLockEnabled);
    EXPECT_TRUE(settings.tickedProjects.empty());
}

}  // namespace
}  // namespace tavrin
