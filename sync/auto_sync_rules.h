#pragma once

#include <cstdint>

#include "net/change_feed.h"

namespace tavrin {

// The rules an auto-sync watcher follows between polls.

// Whether a poll reports a change: a newer revision, or a lower one when the server says its
// counter was reset. An equal revision, or a lower one without the reset flag, is none.
bool ReportsChange(std::uint64_t since, const ChangeFeedResult& result);

// The pause after a poll without change: the server's suggestion plus 250 ms.
int QuietPauseMs(const ChangeFeedResult& result);

// The pause after a failed poll: 1, 2, 4, 8, then 15 seconds, plus up to 219 ms of jitter
// taken from `random`.
int FailurePauseMs(int failures, std::uint64_t random);

// The watcher's jitter values, from a hash of its identity: A (0..1499 ms) after a change,
// B (0..299 ms) to stagger the first poll.
int JitterAfterChangeMs(std::uint64_t identityHash);
int StartStaggerMs(std::uint64_t identityHash);

}  // namespace tavrin
