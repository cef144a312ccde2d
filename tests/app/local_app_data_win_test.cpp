// Windows only: the LocalAppData known folder.
#include <windows.h>

#include <gtest/gtest.h>

#include "app/app_paths.h"

namespace tavrin {
namespace {

TEST(LocalAppDataWinTest, knownFolderMatchesTheEnvironment) {
    wchar_t buffer[MAX_PATH] = {};
    const DWORD length = GetEnvironmentVariableW(L"LOCALAPPDATA", buffer, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        GTEST_SKIP() << "LOCALAPPDATA is not set in this environment";
    }
    EXPECT_EQ(LocalAppDataDirectory(), std::filesystem::path(buffer));
}

}  // namespace
}  // namespace tavrin
