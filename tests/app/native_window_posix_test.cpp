// On Linux the desktop draws the title bar and the tray shows the toolkit's menu.
#include <gtest/gtest.h>

#include "app/native_window.h"

namespace tavrin {
namespace {

TEST(NativeWindowPosixTest, TheToolkitMenuAndNoRegisteredMessages) {
    EXPECT_FALSE(HasNativeTrayMenu());
    EXPECT_EQ(RegisterNamedMessage(L"TaskbarCreated"), 0u);
    EXPECT_EQ(ShowNativeTrayMenu(1, false, 0, 0, {{1, L"Open", true, {}}, {2, L"Exit", true, {}}}),
              kTrayMenuUnavailable);
    EXPECT_FALSE(BroadcastMessage(0xC001));
    EXPECT_EQ(IconSizesOfSystem().smallSize, 16);
}

}  // namespace
}  // namespace tavrin
