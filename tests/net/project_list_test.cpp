#include "net/project_list.h"

#include <gtest/gtest.h>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "tests/support/http_fixture.h"

namespace tavrin {
namespace {

using test::HttpTest;
using test::ScriptedReply;

std::wstring Expected(std::string_view key, std::wstring_view argument) {
    return FillPlaceholders(TrWide(key), {argument});
}

TEST_F(HttpTest, metaListIsTrimmedFilteredAndSortedByBytes) {
    server_.Reply("/list_projects_meta",
                  ScriptedReply::Status(200, R"([" A ", {"name":"B","requires_password":true},)"
                                             R"( {"name":"  "}, 5, "a"])"));
    std::vector<ProjectInfo> projects;
    std::wstring error;
    ASSERT_TRUE(FetchProjectList(server_.Url(), L"tavrin-0123456789abcdef", projects, error))
        << error.c_str();
    ASSERT_EQ(projects.size(), 3U);
    EXPECT_EQ(projects[0].name, "A");
    EXPECT_FALSE(projects[0].requiresPassword);
    EXPECT_EQ(projects[1].name, "B");
    EXPECT_TRUE(projects[1].requiresPassword);
    EXPECT_EQ(projects[2].name, "a");
    EXPECT_FALSE(projects[2].requiresPassword);
    EXPECT_EQ(server_.Requests()[0].Header("X-Client-ID"), "tavrin-0123456789abcdef");
    EXPECT_TRUE(server_.RequestsFor("/list_projects").empty());
}

TEST_F(HttpTest, metaListThatIsNoArrayIsRefused) {
    server_.Reply("/list_projects_meta", ScriptedReply::Status(200, "{}"));
    std::vector<ProjectInfo> projects{{"kept", false}};
    std::wstring error;
    EXPECT_FALSE(FetchProjectList(server_.Url(), L"", projects, error));
    EXPECT_EQ(error, Expected("error.project_list_parse", L"no error occurred"));
    ASSERT_EQ(projects.size(), 1U);  // the caller keeps what it had
    EXPECT_EQ(projects[0].name, "kept");
}

TEST_F(HttpTest, brokenMetaListIsRefusedWithTheParsersText) {
    server_.Reply("/list_projects_meta", ScriptedReply::Status(200, "[\"a\","));
    std::vector<ProjectInfo> projects;
    std::wstring error;
    EXPECT_FALSE(FetchProjectList(server_.Url(), L"", projects, error));
    const std::wstring prefix = Expected("error.project_list_parse", L"");
    EXPECT_EQ(error.rfind(prefix.substr(0, prefix.find(L':')), 0), 0U) << error.c_str();
    EXPECT_GT(error.size(), prefix.size());
}

TEST_F(HttpTest, serverWithoutMetaListGivesThePlainListInItsOrder) {
    server_.Reply("/list_projects", ScriptedReply::Status(200, R"(["z","a"])"));
    std::vector<ProjectInfo> projects;
    std::wstring error;
    ASSERT_TRUE(FetchProjectList(server_.Url(), L"", projects, error)) << error.c_str();
    ASSERT_EQ(projects.size(), 2U);
    EXPECT_EQ(projects[0].name, "z");
    EXPECT_EQ(projects[1].name, "a");
    EXPECT_FALSE(projects[0].requiresPassword || projects[1].requiresPassword);
    EXPECT_EQ(server_.RequestsFor("/list_projects_meta").size(), 1U);
}

TEST_F(HttpTest, metaListErrorIsNotFollowedByThePlainList) {
    server_.Reply("/list_projects_meta", ScriptedReply::Status(500, "boom"));
    server_.Reply("/list_projects", ScriptedReply::Status(200, R"(["a"])"));
    std::vector<ProjectInfo> projects;
    std::wstring error;
    EXPECT_FALSE(FetchProjectList(server_.Url(), L"", projects, error));
    EXPECT_EQ(error, Expected("error.list_projects_http", L"500"));
    EXPECT_TRUE(server_.RequestsFor("/list_projects").empty());
}

TEST_F(HttpTest, plainListWithANumberFailsWithTheReadersMessage) {
    server_.Reply("/list_projects", ScriptedReply::Status(200, R"(["a", 1])"));
    std::vector<ProjectInfo> projects;
    std::wstring error;
    EXPECT_FALSE(FetchProjectList(server_.Url(), L"", projects, error));
    EXPECT_EQ(error, Expected("error.project_list_parse", L"Expected string"));
}

TEST_F(HttpTest, plainListKeepsNamesAsTheyAre) {
    server_.Reply("/list_projects", ScriptedReply::Status(200, R"([" b ", ""])"));
    std::vector<ProjectInfo> projects;
    std::wstring error;
    ASSERT_TRUE(FetchProjectList(server_.Url(), L"", projects, error));
    ASSERT_EQ(projects.size(), 2U);
    EXPECT_EQ(projects[0].name, " b ");
    EXPECT_EQ(projects[1].name, "");
}

TEST_F(HttpTest, plainListErrorStatusIsReported) {
    server_.Reply("/list_projects", ScriptedReply::Status(403, ""));
    std::vector<ProjectInfo> projects;
    std::wstring error;
    EXPECT_FALSE(FetchProjectList(server_.Url(), L"", projects, error));
    EXPECT_EQ(error, Expected("error.list_projects_http", L"403"));
}

TEST_F(HttpTest, serverAtASubPathIsAskedThere) {
    server_.Reply("/sync/list_projects_meta", ScriptedReply::Status(200, R"(["p"])"));
    std::vector<ProjectInfo> projects;
    std::wstring error;
    ASSERT_TRUE(FetchProjectList(server_.Url() + L"/sync/", L"", projects, error));
    ASSERT_EQ(projects.size(), 1U);
    EXPECT_EQ(projects[0].name, "p");
}

TEST_F(HttpTest, plainHttpServerIsRefusedWhileTheLockIsOn) {
    plainHttpAllowed = false;
    std::vector<ProjectInfo> projects;
    std::wstring error;
    EXPECT_FALSE(FetchProjectList(server_.Url(), L"", projects, error));
    EXPECT_EQ(error, TrWide("error.http_requires_unlock"));
    EXPECT_TRUE(server_.Requests().empty());
}

TEST(ProjectMetaListTest, deeplyNestedAnswerFailsCleanly) {
    std::vector<ProjectInfo> projects;
    std::wstring error;
    EXPECT_FALSE(ParseProjectMetaList(std::string(1000000, '['), projects, error));
    EXPECT_FALSE(error.empty());
}

TEST(ProjectMetaListTest, unicodeBlanksAreTrimmedAndDuplicatesKept) {
    std::vector<ProjectInfo> projects;
    std::wstring error;
    ASSERT_TRUE(ParseProjectMetaList("[\"\xC2\xA0x\xE3\x80\x80\", \"x\", {\"name\": 3}, null]",
                                     projects, error));
    ASSERT_EQ(projects.size(), 2U);
    EXPECT_EQ(projects[0].name, "x");
    EXPECT_EQ(projects[1].name, "x");
}

}  // namespace
}  // namespace tavrin
