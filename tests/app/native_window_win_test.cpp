// The window's Windows helpers that need no window toolkit.
#include <windows.h>

#include <gtest/gtest.h>

#include "app/instance_mutex.h"
#include "app/native_window.h"

namespace tavrin {
namespace {

TEST(NativeWindowWinTest, TheSecondClaimOfAMutexFindsTheFirst) {
    InstanceMutex first;
    ASSERT_EQ(first.Claim(L"Local\\Tavrin.Test.SingleInstance"), InstanceClaim::primary);
    InstanceMutex second;
    EXPECT_EQ(second.Claim(L"Local\\Tavrin.Test.SingleInstance"), InstanceClaim::secondary);
}

TEST(NativeWindowWinTest, AReleasedMutexCanBeClaimedAgain) {
    {
        InstanceMutex first;
        ASSERT_EQ(first.Claim(L"Local\\Tavrin.Test.Released"), InstanceClaim::primary);
    }
    InstanceMutex again;
    EXPECT_EQ(again.Claim(L"Local\\Tavrin.Test.Released"), InstanceClaim::primary);
}

TEST(NativeWindowWinTest, ANamedMessageHasOneNumber) {
    const std::uint32_t first = RegisterNamedMessage(L"Tavrin.ShowMainWindow.v1");
    EXPECT_GE(first, 0xC000u);
    EXPECT_EQ(RegisterNamedMessage(L"Tavrin.ShowMainWindow.v1"), first);
    EXPECT_NE(RegisterNamedMessage(L"TaskbarCreated"), first);
}

TEST(NativeWindowWinTest, AMessageRecordGivesItsNumber) {
    MSG message{};
    message.message = WM_THEMECHANGED;
    EXPECT_EQ(NativeMessageId(&message), 794u);
    EXPECT_EQ(NativeMessageId(nullptr), 0u);
}

TEST(NativeWindowWinTest, NoWindowMeansNoMenuAndNoIcons) {
    EXPECT_FALSE(SetNativeWindowIcons(0));
    EXPECT_EQ(ShowNativeTrayMenu(0, false, 0, 0, {{1, L"Open", true, {}}, {2, L"Exit", true, {}}}),
              kTrayMenuUnavailable);
}

TEST(NativeWindowWinTest, TheTitleBarAndIconsOfARealWindow) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = DefWindowProcW;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"TavrinNativeWindowTest";
    RegisterClassW(&windowClass);
    HWND window = CreateWindowExW(0, windowClass.lpszClassName, L"Tavrin test", WS_OVERLAPPEDWINDOW,
                                  0, 0, 200, 100, nullptr, nullptr, windowClass.hInstance, nullptr);
    if (window == nullptr) {
        GTEST_SKIP()
            << "no top-level window can be created here (Wine without a display gives error "
            << GetLastError() << ")";
    }
    ApplyDarkTitleBar(reinterpret_cast<NativeWindowHandle>(window));
    // The test program has no icon resource: the standard application icon stands in.
    EXPECT_TRUE(SetNativeWindowIcons(reinterpret_cast<NativeWindowHandle>(window)));
    EXPECT_NE(SendMessageW(window, WM_GETICON, ICON_SMALL, 0), 0);
    DestroyWindow(window);
}

}  // namespace
}  // namespace tavrin
