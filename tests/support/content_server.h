#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "tests/support/test_http_server.h"

namespace tavrin::test {

// A content server on the test server: its projects at "/list_projects_meta" (with their
// password flags), projects of files, their file lists at
// "/file_list/<project>" and their bytes at "/download_file/<project>/<path>", with hooks to
// make single downloads misbehave. Digests are real SHA-256 values.
class ContentServer {
public:
    ContentServer();

    TestHttpServer& Http() { return server_; }
    std::wstring Url() const { return server_.Url(); }

    // Adds a file; `listedSize`/`listedHash` override what the list says about it.
    void AddFile(const std::string& project, const std::string& path, const std::string& bytes,
                 double mtime = 1700000000.5);
    void SetListedHash(const std::string& project, const std::string& path, std::string hash);
    void RemoveFromList(const std::string& project, const std::string& path);
    // Adds a raw record to a project's list (for paths the server should not have).
    void AddRawRecord(const std::string& project, const std::string& json);
    // Answers downloads of one file with these replies in turn (the last repeats).
    void ScriptDownload(const std::string& project, const std::string& path,
                        std::vector<ScriptedReply> replies);
    // Answers downloads of a file already added with its bytes, after `delayMs` of silence.
    void DelayDownload(const std::string& project, const std::string& path, int delayMs);
    // Requires this password for the project's list and downloads.
    void RequirePassword(const std::string& project, const std::string& password);

    // The change feed at "/changes": the revision it reports (with the reset flag when the
    // counter was set back), the pause it asks for after an answer without changes, 503 for
    // every poll while failing, and when each poll came.
    void SetChangeRevision(std::uint64_t revision, bool reset = false);
    void SetChangePause(std::uint64_t retryAfterMs);
    void FailChangePolls(bool failing);
    std::vector<std::chrono::steady_clock::time_point> ChangePolls() const;
    // While offline, every connection is closed before a byte is sent, as a server that is
    // down or not reachable yet looks to a client.
    void SetOffline(bool offline);
    // Leaves polls of the feed, or project-list requests, unanswered until the server stops:
    // a long poll in progress, a list that hangs.
    void HoldChangePolls(bool hold);
    void HoldProjectLists(bool hold);
    // Answers project-list requests only after this much silence (0: at once).
    void DelayProjectLists(int delayMs);
    int ProjectListRequests() const;
    int DownloadRequests() const;
    int DownloadRequestsFor(const std::string& project, const std::string& path) const;

    static std::string Sha256Hex(const std::string& bytes);

private:
    struct File {
        std::string bytes;
        double mtime = 0;
        std::string listedHash;
        bool listed = true;
    };
    ScriptedReply Answer(const RecordedRequest& request);
    std::string FileList(const std::string& project) const;

    mutable std::mutex mutex_;
    std::map<std::string, std::map<std::string, File>> projects_;
    std::map<std::string, std::vector<std::string>> rawRecords_;
    std::map<std::string, std::string> passwords_;
    std::map<std::string, std::vector<ScriptedReply>> scripted_;
    std::map<std::string, std::size_t> scriptedServed_;
    std::map<std::string, int> downloads_;
    std::uint64_t changeRevision_ = 0;
    bool changeReset_ = false;
    std::uint64_t changeRetryAfterMs_ = 200;
    bool changesFailing_ = false;
    bool offline_ = false;
    bool holdPolls_ = false;
    bool holdLists_ = false;
    int listDelayMs_ = 0;
    int listRequests_ = 0;
    std::vector<std::chrono::steady_clock::time_point> changePolls_;
    TestHttpServer server_;
};

// Percent-decoding of a request path segment.
std::string PercentDecode(const std::string& text);

}  // namespace tavrin::test
