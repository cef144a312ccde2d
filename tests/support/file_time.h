#pragma once

#include <string_view>

namespace tavrin::test {

// A file's last-write time by path, in seconds since 1970, for tests to set and check what
// the engine does to times.
bool ReadLocalFileTime(std::wstring_view path, double& seconds);
void SetLocalFileTime(std::wstring_view path, double serverTime);

}  // namespace tavrin::test
