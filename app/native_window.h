#pragma once

#include <cstdint>
#include <string>
#include <string_view>

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

// What the native tray menu returned.
enum class TrayMenuChoice { unavailable, dismissed, open, exit };

// The notification-area menu ("open", a separator, "exit"), shown at `x`,`y` (the tray icon's
// top centre) or, when `havePosition` is false, at the cursor. Blocks until it closes.
TrayMenuChoice ShowNativeTrayMenu(NativeWindowHandle window, bool havePosition, int x, int y,
                                  std::wstring_view openText, std::wstring_view exitText);

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
