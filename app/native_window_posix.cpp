// Linux side: the desktop draws the title bar, the tray's own menu serves, and the running
// instance is woken through a local socket instead of a broadcast.
#include "app/native_window.h"

namespace tavrin {

std::uint32_t RegisterNamedMessage(std::wstring_view /*name*/) {
    return 0;
}

void ApplyDarkTitleBar(NativeWindowHandle /*window*/) {}

int ShowNativeTrayMenu(NativeWindowHandle /*window*/, bool /*havePosition*/, int /*x*/, int /*y*/,
                       const std::vector<TrayMenuItem>& /*items*/) {
    return kTrayMenuUnavailable;
}

bool HasNativeTrayMenu() {
    return false;
}

// The desktop takes the window's icon from the toolkit.
bool SetNativeWindowIcons(NativeWindowHandle /*window*/) {
    return true;
}

SystemIconSizes IconSizesOfSystem() {
    return {};
}

std::uint32_t NativeMessageId(const void* /*message*/) {
    return 0;
}

bool IsColourChangeMessage(std::uint32_t /*messageId*/) {
    return false;
}

bool BroadcastMessage(std::uint32_t /*message*/) {
    return false;
}

}  // namespace tavrin
