// Windows side: user32 and DWM calls on the window's handle.
#include <windows.h>
// after windows.h, which it needs
#include <dwmapi.h>

#include <string>

#include "app/native_window.h"

namespace tavrin {

namespace {

HWND AsWindow(NativeWindowHandle window) {
    return reinterpret_cast<HWND>(window);
}

// The attribute numbers of newer systems, which older SDK headers lack.
constexpr DWORD kImmersiveDarkMode = 20;
constexpr DWORD kImmersiveDarkModeBefore20H1 = 19;
constexpr DWORD kBorderColor = 34;
constexpr DWORD kCaptionColor = 35;
constexpr DWORD kTextColor = 36;

// The program's icon in the executable's resources (app/tavrin.rc.in).
constexpr int kProgramIconResource = 101;

}  // namespace

std::uint32_t RegisterNamedMessage(std::wstring_view name) {
    const std::wstring text(name);
    return RegisterWindowMessageW(text.c_str());
}

void ApplyDarkTitleBar(NativeWindowHandle window) {
    HWND hwnd = AsWindow(window);
    if (hwnd == nullptr) {
        return;
    }
    const BOOL dark = TRUE;
    if (FAILED(DwmSetWindowAttribute(hwnd, kImmersiveDarkMode, &dark, sizeof dark))) {
        DwmSetWindowAttribute(hwnd, kImmersiveDarkModeBefore20H1, &dark, sizeof dark);
    }
    const COLORREF caption = RGB(0x1f, 0x25, 0x2d);
    const COLORREF text = RGB(0xec, 0xf1, 0xf7);
    const COLORREF border = RGB(0x3c, 0x44, 0x52);
    DwmSetWindowAttribute(hwnd, kCaptionColor, &caption, sizeof caption);
    DwmSetWindowAttribute(hwnd, kTextColor, &text, sizeof text);
    DwmSetWindowAttribute(hwnd, kBorderColor, &border, sizeof border);
    SetWindowPos(hwnd, nullptr, 0, 0, 0, 0,
                 SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED);
}

namespace {

// Fills a popup menu with the items; the menu owns the submenus it is given.
void AppendTrayItems(HMENU menu, const std::vector<TrayMenuItem>& items) {
    for (const TrayMenuItem& item : items) {
        if (item.text.empty()) {
            AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
        } else if (!item.submenu.empty()) {
            HMENU submenu = CreatePopupMenu();
            AppendTrayItems(submenu, item.submenu);
            AppendMenuW(menu, MF_POPUP | (item.enabled ? 0 : MF_GRAYED),
                        reinterpret_cast<UINT_PTR>(submenu), item.text.c_str());
        } else {
            AppendMenuW(menu, MF_STRING | (item.enabled ? 0 : MF_GRAYED),
                        static_cast<UINT_PTR>(item.id), item.text.c_str());
        }
    }
}

}  // namespace

int ShowNativeTrayMenu(NativeWindowHandle window, bool havePosition, int x, int y,
                       const std::vector<TrayMenuItem>& items) {
    HWND hwnd = AsWindow(window);
    if (hwnd == nullptr) {
        return kTrayMenuUnavailable;
    }
    HMENU menu = CreatePopupMenu();
    if (menu == nullptr) {
        return kTrayMenuUnavailable;
    }
    AppendTrayItems(menu, items);
    POINT at{x, y};
    if (!havePosition) {
        GetCursorPos(&at);
    }
    // Without the foreground the menu would not close when the user clicks elsewhere.
    SetForegroundWindow(hwnd);
    const int command =
        TrackPopupMenu(menu, TPM_RETURNCMD | TPM_RIGHTBUTTON | TPM_BOTTOMALIGN | TPM_CENTERALIGN,
                       at.x, at.y, 0, hwnd, nullptr);
    PostMessageW(hwnd, WM_NULL, 0, 0);
    DestroyMenu(menu);
    return command > 0 ? command : kTrayMenuDismissed;
}

bool HasNativeTrayMenu() {
    return true;
}

bool SetNativeWindowIcons(NativeWindowHandle window) {
    HWND hwnd = AsWindow(window);
    if (hwnd == nullptr) {
        return false;
    }
    HINSTANCE module = GetModuleHandleW(nullptr);
    const auto load = [module](int metricX, int metricY) {
        HANDLE icon =
            LoadImageW(module, MAKEINTRESOURCEW(kProgramIconResource), IMAGE_ICON,
                       GetSystemMetrics(metricX), GetSystemMetrics(metricY), LR_DEFAULTCOLOR);
        return icon != nullptr ? static_cast<HICON>(icon) : LoadIconW(nullptr, IDI_APPLICATION);
    };
    HICON largeIcon = load(SM_CXICON, SM_CYICON);
    HICON smallIcon = load(SM_CXSMICON, SM_CYSMICON);
    if (largeIcon == nullptr || smallIcon == nullptr) {
        return false;
    }
    SendMessageW(hwnd, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(largeIcon));
    SendMessageW(hwnd, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(smallIcon));
    return true;
}

SystemIconSizes IconSizesOfSystem() {
    SystemIconSizes sizes;
    const int largeSize = GetSystemMetrics(SM_CXICON);
    const int smallSize = GetSystemMetrics(SM_CXSMICON);
    if (largeSize > 0) {
        sizes.largeSize = largeSize;
    }
    if (smallSize > 0) {
        sizes.smallSize = smallSize;
    }
    return sizes;
}

std::uint32_t NativeMessageId(const void* message) {
    return message != nullptr ? static_cast<const MSG*>(message)->message : 0;
}

bool IsColourChangeMessage(std::uint32_t messageId) {
    constexpr std::uint32_t kColorizationChanged = 0x0320;  // WM_DWMCOLORIZATIONCOLORCHANGED
    return messageId == WM_SETTINGCHANGE || messageId == WM_THEMECHANGED ||
           messageId == kColorizationChanged;
}

bool BroadcastMessage(std::uint32_t message) {
    return message != 0 && PostMessageW(HWND_BROADCAST, message, 0, 0) != FALSE;
}

}  // namespace tavrin
