#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

// One answer of a server's change feed.
struct ChangeFeedResult {
    std::uint64_t revision = 0;  // left as it was when the answer carries no usable value
    bool hasChanges = false;
    bool fullResync = false;         // the server asks for every project to be checked again
    std::set<std::string> projects;  // changed projects, UTF-8
    std::map<std::string, bool> passwordRequired;  // project -> the server now wants one
    std::uint64_t retryAfterMs = 0;                // the pause the server suggests; 0 if none
};

// One long poll: waits up to `waitSeconds` (clamped to 0..120) for the server's revision to
// pass `sinceRevision` for one of `projects`. The polling thread keeps its connection open
// between polls of the same server; a poll that fails is retried once on a new connection.
bool PollChanges(std::wstring_view serverText, std::wstring_view clientId,
                 std::uint64_t sinceRevision, int waitSeconds,
                 const std::vector<std::string>& projects, ChangeFeedResult& result,
                 std::wstring& errorText, const std::atomic<bool>* cancelFlag);

// The request path of a poll.
std::wstring ChangeFeedPath(std::uint64_t sinceRevision, int waitSeconds,
                            const std::vector<std::string>& projects);

// The receive wait of a poll: the clamped wait plus 2.5 s.
int ChangeFeedReceiveTimeoutMs(int waitSeconds);

// Reads a change-feed answer into `result`.
bool ParseChangeFeed(std::string_view body, ChangeFeedResult& result, std::wstring& errorText);

// Closes the calling thread's cached connection (a watcher does this when it stops).
void ReleaseChangeFeedConnection();

}  // namespace tavrin
