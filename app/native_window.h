#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

// The few things the window asks of the desktop directly, through native handles passed as
// plain values so that this stays free of the window toolkit. On Linux the desktop draws the
// title bar and the tray's own menu is used, so most of these do nothing there.

using NativeWindowHandle = std::uintptr_t;

// The identifier of a message registered by name (RegisterWindowMessageW); 0 when there is
// none, as on Linux.
std::uint32_t RegisterNamedMessage(std::wstring_view name);

// Dark caption, caption text and border colours for the window's title bar, then a frame
// redraw. Systems without the attributes keep their own colours.
void ApplyDarkTitleBar(NativeWindowHandle window);

// One entry of the native tray menu: a command (its id above 0), a separator (empty text), or
// a submenu of its own entries.
struct TrayMenuItem {
    int id = 0;
    std::wstring text;
    bool enabled = true;
    std::vector<TrayMenuItem> submenu;
};

// What the native tray menu returned: the chosen command's id, or one of these.
inline constexpr int kTrayMenuDismissed = 0;
inline constexpr int kTrayMenuUnavailable = -1;

// The notification-area menu, shown at `x`,`y` (the tray icon's top centre) or, when
// `havePosition` is false, at the cursor. Blocks until it closes.
int ShowNativeTrayMenu(NativeWindowHandle window, bool havePosition, int x, int y,
                       const std::vector<TrayMenuItem>& items);

// Whether the tray uses the native menu above; elsewhere the tray shows the toolkit's menu.
bool HasNativeTrayMenu();

// Gives the window's frame the program's icon resource (id 101) at the system's large and
// small icon sizes, or the standard application icon. False when the window has no frame yet.
bool SetNativeWindowIcons(NativeWindowHandle window);

// The system's large and small icon sizes in pixels (32 and 16 where the system has no say).
struct SystemIconSizes {
    int largeSize = 32;
    int smallSize = 16;
};
SystemIconSizes IconSizesOfSystem();

// The message number of a native message record (a Windows MSG); 0 elsewhere.
std::uint32_t NativeMessageId(const void* message);
// Whether the message says the desktop's colours or theme changed, which the title bar follows.
bool IsColourChangeMessage(std::uint32_t messageId);

// Posts `message` to every top-level window without waiting for any of them.
bool BroadcastMessage(std::uint32_t message);

}  // namespace tavrin
