// Linux only: where the per-user data folder comes from.
#include <gtest/gtest.h>

#include "app/app_paths.h"
#include "tests/support/sandbox.h"

namespace tavrin {
namespace {

TEST(LocalAppDataPosixTest, xdgDataHomeIsTheUserDataFolder) {
    test::Sandbox sandbox;
    const test::ScopedEnvironment xdg("XDG_DATA_HOME", sandbox / "xdg");
    EXPECT_EQ(LocalAppDataDirectory(), sandbox / "xdg");
}

TEST(LocalAppDataPosixTest, withoutXdgDataHomeItIsUnderHome) {
    test::Sandbox sandbox;
    const test::ScopedEnvironment xdg("XDG_DATA_HOME", {});
    const test::ScopedEnvironment home("HOME", sandbox / "home");
    EXPECT_EQ(LocalAppDataDirectory(), sandbox / "home" / ".local" / "share");
}

TEST(LocalAppDataPosixTest, relativeXdgDataHomeIsIgnored) {
    test::Sandbox sandbox;
    const test::ScopedEnvironment xdg("XDG_DATA_HOME", "relative/data");
    const test::ScopedEnvironment home("HOME", sandbox / "home");
    EXPECT_EQ(LocalAppDataDirectory(), sandbox / "home" / ".local" / "share");
}

}  // namespace
}  // namespace tavrin
