#include "net/file_list_fetch.h"

#include <gtest/gtest.h>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "net/manifest_cache.h"
#include "tests/support/http_fixture.h"

namespace tavrin {
namespace {

using test::ScriptedReply;

constexpr const char* kList =
    R"([{"relative_path":"content/a.txt","size":3,"mtime":1.5,"hash":"h"}])";

// A file-list fetch against the test server, with the data folder (and so the manifest
// cache) inside the sandbox and a scripted password prompt.
class FileListTest : public test::HttpTest {
protected:
    FileListTest() : data_("TAVRIN_DATA_DIR", sandbox_ / "data") {}

    void SetUp() override {
        HttpTest::SetUp();
        session_ = OpenSession(server_.Url());
        prompt_.ask = [this](const std::string& project, bool retry, std::wstring& password) {
            asked_.emplace_back(project, retry);
            if (answers_.empty()) {
                return false;
            }
            password = answers_.front();
            answers_.erase(answers_.begin());
            return true;
        };
        prompt_.remember = [this](const std::string& project, const std::wstring& password) {
            remembered_.emplace_back(project, password);
        };
    }

    bool Fetch(const std::string& project, bool forceFull = false) {
        entries_.clear();
        return FetchFileList(session_, server_.Url(), project, passwords_, prompt_, forceFull,
                             nullptr, entries_, fromCache_, error_);
    }

    test::ScopedEnvironment data_;
    HttpSession session_;
    ProjectPasswords passwords_;
    PasswordPrompt prompt_;
    std::vector<std::wstring> answers_;
    std::vector<std::pair<std::string, bool>> asked_;
    std::vector<std::pair<std::string, std::wstring>> remembered_;
    std::vector<FileListEntry> entries_;
    bool fromCache_ = false;
    std::wstring error_;
};

ScriptedReply ListReply(const std::string& etag) {
    ScriptedReply reply = ScriptedReply::Status(200, kList);
    reply.headers = {{"ETag", etag}, {"Last-Modified", "Sun, 22 Nov 2026 03:00:00 GMT"}};
    return reply;
}

TEST_F(FileListTest, projectNameIsOnePercentEncodedSegment) {
    server_.Reply("/file_list/a%20b%2Fc", ListReply("\"1\""));
    ASSERT_TRUE(Fetch("a b/c")) << error_.c_str();
    ASSERT_EQ(entries_.size(), 1U);
    EXPECT_EQ(entries_[0].relativePath, "content/a.txt");
    EXPECT_EQ(entries_[0].size, 3U);
    EXPECT_FALSE(fromCache_);
}

TEST_F(FileListTest, unchangedListIsAnsweredFromTheCacheBy304) {
    ScriptedReply notModified = ScriptedReply::Status(304);
    notModified.contentLength = 0;
    server_.ReplySequence("/file_list/p", {ListReply("\"v1\""), notModified});
    ASSERT_TRUE(Fetch("p")) << error_.c_str();
    ASSERT_TRUE(Fetch("p")) << error_.c_str();
    EXPECT_TRUE(fromCache_);
    ASSERT_EQ(entries_.size(), 1U);
    const auto requests = server_.RequestsFor("/file_list/p");
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_FALSE(requests[0].Header("If-None-Match").has_value());
    EXPECT_EQ(requests[1].Header("If-None-Match"), "\"v1\"");
    EXPECT_EQ(requests[1].Header("If-Modified-Since"), "Sun, 22 Nov 2026 03:00:00 GMT");
}

TEST_F(FileListTest, forcedFetchSendsNoValidators) {
    server_.Reply("/file_list/p", ListReply("\"v1\""));
    ASSERT_TRUE(Fetch("p"));
    ASSERT_TRUE(Fetch("p", true));
    const auto requests = server_.RequestsFor("/file_list/p");
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_FALSE(requests[1].Header("If-None-Match").has_value());
    EXPECT_FALSE(requests[1].Header("If-Modified-Since").has_value());
}

TEST_F(FileListTest, damagedCacheBehind304LeadsToOneUnconditionalRequest) {
    ScriptedReply notModified = ScriptedReply::Status(304);
    notModified.contentLength = 0;
    server_.ReplySequence("/file_list/p", {ListReply("\"v1\""), notModified, ListReply("\"v2\"")});
    ASSERT_TRUE(Fetch("p"));
    const auto json = ManifestCacheDirectory() / (ManifestCacheStem(server_.Url(), "p") + ".json");
    test::WriteFile(json, "[{\"relative_path\":");
    ASSERT_TRUE(Fetch("p")) << error_.c_str();
    EXPECT_FALSE(fromCache_);
    ASSERT_EQ(entries_.size(), 1U);
    const auto requests = server_.RequestsFor("/file_list/p");
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_TRUE(requests[1].Header("If-None-Match").has_value());
    EXPECT_FALSE(requests[2].Header("If-None-Match").has_value());
    EXPECT_EQ(ReadManifestCache(server_.Url(), "p").etag, L"\"v2\"");
}

TEST_F(FileListTest, missingCacheBehind304LeadsToOneUnconditionalRequest) {
    ScriptedReply notModified = ScriptedReply::Status(304);
    notModified.contentLength = 0;
    server_.ReplySequence("/file_list/p", {ListReply("\"v1\""), notModified, ListReply("\"v1\"")});
    ASSERT_TRUE(Fetch("p"));
    std::filesystem::remove(ManifestCacheDirectory() /
                            (ManifestCacheStem(server_.Url(), "p") + ".json"));
    ASSERT_TRUE(Fetch("p")) << error_.c_str();
    EXPECT_EQ(server_.RequestsFor("/file_list/p").size(), 3U);
}

TEST_F(FileListTest, serverThatAlwaysRefusesIsAskedThreeTimes) {
    server_.Reply("/file_list/locked", ScriptedReply::Status(401, "no"));
    answers_ = {L"one", L"two", L"three"};
    EXPECT_FALSE(Fetch("locked"));
    EXPECT_EQ(error_,
              FillPlaceholders(TrWide("error.file_list_http_for_project"), {L"locked", L"401"}));
    ASSERT_EQ(asked_.size(), 3U);
    EXPECT_FALSE(asked_[0].second);  // nothing had been sent yet
    EXPECT_TRUE(asked_[1].second);
    EXPECT_TRUE(asked_[2].second);
    const auto requests = server_.RequestsFor("/file_list/locked");
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_FALSE(requests[0].Header("X-Project-Password").has_value());
    EXPECT_EQ(requests[1].Header("X-Project-Password"), "one");
    EXPECT_EQ(requests[2].Header("X-Project-Password"), "two");
    EXPECT_EQ(passwords_["locked"], L"three");  // stored for the next run, never sent
    EXPECT_EQ(remembered_.size(), 3U);
}

TEST_F(FileListTest, acceptedPasswordIsSentAndRemembered) {
    server_.ReplyOtherwise([](const test::RecordedRequest& request) {
        return request.Header("X-Project-Password") == "open sesame"
                   ? ScriptedReply::Status(200, kList)
                   : ScriptedReply::Status(401, "");
    });
    answers_ = {L"  open sesame\r\n"};
    ASSERT_TRUE(Fetch("p")) << error_.c_str();
    EXPECT_EQ(entries_.size(), 1U);
    ASSERT_EQ(remembered_.size(), 1U);
    EXPECT_EQ(remembered_[0].first, "p");
}

TEST_F(FileListTest, cancelledPromptSaysWhetherAPasswordWasSent) {
    server_.Reply("/file_list/p", ScriptedReply::Status(401, ""));
    EXPECT_FALSE(Fetch("p"));
    EXPECT_EQ(error_, FillPlaceholders(TrWide("error.project_password_required"), {L"p"}));
    passwords_["p"] = L"stale";
    EXPECT_FALSE(Fetch("p"));
    EXPECT_EQ(error_, FillPlaceholders(TrWide("error.project_password_invalid"), {L"p"}));
}

TEST_F(FileListTest, passwordCanNeverAddAHeaderLine) {
    server_.Reply("/file_list/p", ScriptedReply::Status(200, kList));
    passwords_["p"] = L" pass\r\nX-Injected: 1\n ";
    ASSERT_TRUE(Fetch("p")) << error_.c_str();
    const auto requests = server_.RequestsFor("/file_list/p");
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].Header("X-Project-Password"), "passX-Injected: 1");
    EXPECT_FALSE(requests[0].Header("X-Injected").has_value());
}

TEST_F(FileListTest, invalidListFailsWithTheReadersMessage) {
    server_.Reply("/file_list/p", ScriptedReply::Status(200, R"([{"size":-1}])"));
    EXPECT_FALSE(Fetch("p"));
    EXPECT_EQ(error_, FillPlaceholders(TrWide("error.file_list_invalid_for_project"),
                                       {L"p", L"File size out of range"}));
}

TEST_F(FileListTest, otherStatusesFailWithTheStatus) {
    server_.Reply("/file_list/p", ScriptedReply::Status(404, ""));
    EXPECT_FALSE(Fetch("p"));
    EXPECT_EQ(error_, FillPlaceholders(TrWide("error.file_list_http_for_project"), {L"p", L"404"}));
}

TEST_F(FileListTest, answerWithoutValidatorsKeepsTheCachedOnes) {
    ScriptedReply bare = ScriptedReply::Status(200, kList);
    server_.ReplySequence("/file_list/p", {ListReply("\"v1\""), bare});
    ASSERT_TRUE(Fetch("p"));
    ASSERT_TRUE(Fetch("p", true));
    EXPECT_EQ(ReadManifestCache(server_.Url(), "p").etag, L"\"v1\"");
}

TEST_F(FileListTest, etagWithALineBreakIsStoredWithoutIt) {
    std::wstring error;
    ASSERT_TRUE(WriteManifestCache(L"https://h", "p", "[]", L" \"a\r\nb\" ", L"x\ny", error));
    const CachedManifest cached = ReadManifestCache(L"https://h", "p");
    EXPECT_EQ(cached.etag, L"\"ab\"");
    EXPECT_EQ(cached.lastModified, L"xy");
    EXPECT_EQ(cached.body, "[]");
    const auto meta = ManifestCacheDirectory() / (ManifestCacheStem(L"https://h", "p") + ".meta");
    EXPECT_EQ(test::ReadFile(meta), "etag=\"ab\"\nlast_modified=xy\n");
}

TEST(ManifestCacheTest, stemHashesServerAndProject) {
    EXPECT_EQ(ManifestCacheStem(L"http://example.com", "Project One"), "8309a06f6fbdb403");
}

TEST(ManifestCacheTest, olderCacheFoldersAreTakenOverOnce) {
    test::Sandbox sandbox;
    test::WriteFile(sandbox / "local" / "Ostmere" / "Tavrin" / "cache" / "manifests" / "a.json",
                    "old-a");
    test::WriteFile(sandbox / "program" / "cache" / "manifests" / "b.json", "old-b");
    const DataLocations locations{sandbox / "local", sandbox / "program", {}};
    const auto folder = ManifestCacheDirectoryFor(locations);
    EXPECT_EQ(folder, sandbox / "local" / "Tavrin" / "cache" / "manifests");
    EXPECT_EQ(test::ReadFile(folder / "a.json"), "old-a");
    EXPECT_FALSE(std::filesystem::exists(folder / "b.json"));  // the first source was enough
    test::WriteFile(sandbox / "local" / "Ostmere" / "Tavrin" / "cache" / "manifests" / "c.json",
                    "later");
    ManifestCacheDirectoryFor(locations);
    EXPECT_FALSE(std::filesystem::exists(folder / "c.json"));  // taken over only once
}

TEST(ManifestCacheTest, cacheBesideTheProgramIsTakenOverWhenNoOtherExists) {
    test::Sandbox sandbox;
    test::WriteFile(sandbox / "program" / "cache" / "manifests" / "b.json", "old-b");
    const DataLocations locations{sandbox / "local", sandbox / "program", {}};
    EXPECT_EQ(test::ReadFile(ManifestCacheDirectoryFor(locations) / "b.json"), "old-b");
}

TEST(ManifestCacheTest, uncreatableFolderIsReported) {
    test::Sandbox sandbox;
    test::WriteFile(sandbox / "data" / "cache", "a file where the folder should be");
    const test::ScopedEnvironment data("TAVRIN_DATA_DIR", sandbox / "data");
    std::wstring error;
    EXPECT_FALSE(WriteManifestCache(L"https://h", "p", "[]", L"", L"", error));
    const std::wstring start =
        FillPlaceholders(TrWide("error.manifest_cache_dir_create_failed"), {L""});
    EXPECT_EQ(error.rfind(start, 0), 0U) << error.c_str();
}

}  // namespace
}  // namespace tavrin
