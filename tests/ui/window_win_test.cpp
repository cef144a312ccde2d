// The window's Windows-only behaviour on the real "windows" platform (under Wine: with Xvfb):
// the tray icon in the notification area, its native popup menu, "TaskbarCreated", the
// wake-up broadcast, the frame's icons and the dark title bar.
#include <windows.h>
// after windows.h, which it needs
#include <dwmapi.h>

#include <QApplication>
#include <QSystemTrayIcon>
#include <QtTest>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "app/native_window.h"
#include "desktop/single_instance.h"
#include "i18n/translator.h"
#include "startup/startup.h"
#include "tests/support/wine.h"
#include "ui/tavrin_qt_window.h"
#include "ui_sandbox.h"

namespace tavrin {

namespace {

constexpr UINT kGetMenuHandle = 0x01E1;  // MN_GETHMENU

QString Text(const char* key) {
    return QString::fromStdString(tavrin::tr(key));
}

HWND Handle(const QWidget& widget) {
    return reinterpret_cast<HWND>(widget.winId());
}

// A visible popup menu ("#32768") of this process, or null.
HWND OpenPopupMenu() {
    struct Search {
        DWORD process = GetCurrentProcessId();
        HWND found = nullptr;
    } search;
    EnumWindows(
        [](HWND window, LPARAM data) -> BOOL {
            auto* state = reinterpret_cast<Search*>(data);
            wchar_t className[16] = {};
            DWORD process = 0;
            GetWindowThreadProcessId(window, &process);
            if (process == state->process && IsWindowVisible(window) &&
                GetClassNameW(window, className, 16) > 0 &&
                std::wstring_view(className) == L"#32768") {
                state->found = window;
                return FALSE;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

// Answers the next popup menu from another thread, as a person would with the keyboard: it
// waits for the menu, notes its entries, then presses the keys given.
class MenuAnswerer {
public:
    explicit MenuAnswerer(std::vector<WPARAM> keys)
        : thread_([this, keys = std::move(keys)] { Answer(keys); }) {}
    ~MenuAnswerer() { Wait(); }
    MenuAnswerer(const MenuAnswerer&) = delete;
    MenuAnswerer& operator=(const MenuAnswerer&) = delete;

    void Wait() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    // What the menu showed; read after Wait().
    bool Opened() const { return opened_; }
    const QStringList& Entries() const { return entries_; }

private:
    void Answer(const std::vector<WPARAM>& keys) {
        HWND menuWindow = nullptr;
        for (int i = 0; i < 200 && menuWindow == nullptr; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            menuWindow = OpenPopupMenu();
        }
        if (menuWindow == nullptr) {
            return;
        }
        opened_ = true;
        auto* menu = reinterpret_cast<HMENU>(SendMessageW(menuWindow, kGetMenuHandle, 0, 0));
        for (int i = 0; menu != nullptr && i < GetMenuItemCount(menu); ++i) {
            wchar_t text[128] = {};
            GetMenuStringW(menu, static_cast<UINT>(i), text, 128, MF_BYPOSITION);
            entries_ << QString::fromWCharArray(text);
        }
        for (WPARAM key : keys) {
            PostMessageW(menuWindow, WM_KEYDOWN, key, 0);
            PostMessageW(menuWindow, WM_KEYUP, key, 0);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }

    std::atomic<bool> opened_{false};
    QStringList entries_;
    std::thread thread_;
};

// The colour bits of an icon, to tell two icons apart by what they show.
QByteArray IconBits(HICON icon) {
    ICONINFO info{};
    if (icon == nullptr || !GetIconInfo(icon, &info)) {
        return {};
    }
    BITMAP bitmap{};
    GetObjectW(info.hbmColor, sizeof bitmap, &bitmap);
    BITMAPINFO format{};
    format.bmiHeader.biSize = sizeof format.bmiHeader;
    format.bmiHeader.biWidth = bitmap.bmWidth;
    format.bmiHeader.biHeight = bitmap.bmHeight;
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 32;
    format.bmiHeader.biCompression = BI_RGB;
    QByteArray bits(bitmap.bmWidth * bitmap.bmHeight * 4, '\0');
    HDC screen = GetDC(nullptr);
    GetDIBits(screen, info.hbmColor, 0, static_cast<UINT>(bitmap.bmHeight), bits.data(), &format,
              DIB_RGB_COLORS);
    ReleaseDC(nullptr, screen);
    DeleteObject(info.hbmColor);
    DeleteObject(info.hbmMask);
    return bits;
}

int IconWidth(HICON icon) {
    ICONINFO info{};
    if (icon == nullptr || !GetIconInfo(icon, &info)) {
        return 0;
    }
    BITMAP bitmap{};
    GetObjectW(info.hbmColor, sizeof bitmap, &bitmap);
    DeleteObject(info.hbmColor);
    DeleteObject(info.hbmMask);
    return bitmap.bmWidth;
}

}  // namespace

class WindowWinTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("windows"));
        ShowMainWindowMessage = RegisterNamedMessage(kShowMainWindowMessageName);
        QVERIFY(ShowMainWindowMessage != 0);
    }

    void init() {
        ResetLanguageState();
        SetLanguage("en");
    }

    void TheTrayIconIsInTheNotificationArea() {
        test::UiSandbox sandbox;
        QVERIFY(QSystemTrayIcon::isSystemTrayAvailable());
        TavrinQtWindow window;
        QVERIFY(window.TrayIcon() != nullptr);
        QVERIFY(window.TrayIcon()->isVisible());
        QCOMPARE(window.TrayIcon()->toolTip(), QStringLiteral("Tavrin"));
        QVERIFY(!window.TrayIcon()->icon().isNull());
        // The native menu is used, not the toolkit's.
        QVERIFY(HasNativeTrayMenu());
        QVERIFY(window.TrayIcon()->contextMenu() == nullptr);
    }

    void TheNativeTrayMenuOffersOpenAndExitAndOpenShowsTheWindow() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.hide();
        QVERIFY(!window.isVisible());
        {
            MenuAnswerer answer({VK_DOWN, VK_RETURN});
            emit window.TrayIcon()->activated(QSystemTrayIcon::Context);
            answer.Wait();
            QVERIFY(answer.Opened());
            QTRY_VERIFY(window.isVisible());
        }
        QVERIFY(IsWindowVisible(Handle(window)));
        QVERIFY(!IsIconic(Handle(window)));
    }

    void TheNativeTrayMenuSpeaksTheLanguageAndEscapeChangesNothing() {
        test::UiSandbox sandbox;
        sandbox.WriteSettings("[General]\nlanguage=de\n");
        TavrinQtWindow window;
        window.hide();
        MenuAnswerer answer({VK_ESCAPE});
        emit window.TrayIcon()->activated(QSystemTrayIcon::Context);
        answer.Wait();
        QVERIFY(answer.Opened());
        // Auto-sync is off: no pause to offer, and nothing to sync yet.
        QCOMPARE(answer.Entries(),
                 (QStringList{Text("tray.open"), QString(), Text("tray.sync_now"),
                              Text("tray.open_game_folder"), QString(), Text("tray.exit")}));
        QVERIFY(Text("tray.exit") != QStringLiteral("Exit"));
        QVERIFY(!window.isVisible());
        QVERIFY(!window.IsShuttingDown());
    }

    void ExitInTheNativeTrayMenuEndsTheProgramAndWritesTheSettings() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.show();
        // The first start wrote the file; Exit must write it again.
        QVERIFY(QFile::remove(sandbox.SettingsFile()));
        {
            MenuAnswerer answer({VK_UP, VK_RETURN});
            emit window.TrayIcon()->activated(QSystemTrayIcon::Context);
            answer.Wait();
            QVERIFY(answer.Opened());
            QTRY_VERIFY(window.IsShuttingDown());
        }
        QVERIFY(!window.isVisible());
        QVERIFY(!window.TrayIcon()->isVisible());
        QVERIFY(sandbox.ReadSettings().contains("\nselected_domains="));
    }

    void TaskbarCreatedPutsTheTrayIconBack() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        (void)window.winId();
        QSystemTrayIcon* tray = window.TrayIcon();
        QVERIFY(tray != nullptr && tray->isVisible());
        // As after a restart of Explorer, the icon is gone from the notification area.
        tray->hide();
        QVERIFY(!tray->isVisible());
        QVERIFY(BroadcastMessage(RegisterNamedMessage(L"TaskbarCreated")));
        QTRY_VERIFY(tray->isVisible());
    }

    void TheWakeUpBroadcastBringsAHiddenWindowForward() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        (void)window.winId();
        window.hide();
        QVERIFY(BroadcastMessage(ShowMainWindowMessage));
        QTRY_VERIFY(window.isVisible());
        QVERIFY(IsWindowVisible(Handle(window)));
    }

    void TheFrameCarriesTheProgramIconAtTheSystemSizes() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const auto largeIcon =
            reinterpret_cast<HICON>(SendMessageW(Handle(window), WM_GETICON, ICON_BIG, 0));
        const auto smallIcon =
            reinterpret_cast<HICON>(SendMessageW(Handle(window), WM_GETICON, ICON_SMALL, 0));
        QCOMPARE(IconWidth(largeIcon), GetSystemMetrics(SM_CXICON));
        QCOMPARE(IconWidth(smallIcon), GetSystemMetrics(SM_CXSMICON));
        // The icon of resource 101 (linked into this test as into the program), not a stock one.
        const auto resource = static_cast<HICON>(
            LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(101), IMAGE_ICON,
                       GetSystemMetrics(SM_CXSMICON), GetSystemMetrics(SM_CYSMICON), 0));
        QVERIFY(resource != nullptr);
        QCOMPARE(IconBits(smallIcon), IconBits(resource));
        QVERIFY(IconBits(smallIcon) != IconBits(LoadIconW(nullptr, IDI_APPLICATION)));
        DestroyIcon(resource);
    }

    void TheWindowsFontsResolveToThemselvesOrLookAlikes() {
        InstallFontSubstitutes();
        const QStringList sans{QStringLiteral("Segoe UI"), QStringLiteral("Tahoma"),
                               QStringLiteral("DejaVu Sans"), QStringLiteral("Noto Sans"),
                               QStringLiteral("Liberation Sans")};
        const QString ui = QFontInfo(QFont(QStringLiteral("Segoe UI"))).family();
        QVERIFY2(sans.contains(ui), qPrintable(ui));
        QFont log(QStringLiteral("Consolas"));
        log.setStyleHint(QFont::Monospace);
        QVERIFY(QFontInfo(log).fixedPitch());
    }

    void TheTitleBarIsAskedToBeDark() {
        test::UiSandbox sandbox;
        TavrinQtWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        ApplyDarkTitleBar(static_cast<NativeWindowHandle>(window.winId()));
        BOOL dark = FALSE;
        const HRESULT result =
            DwmGetWindowAttribute(Handle(window), 20, &dark, sizeof dark);  // immersive dark mode
        if (test::RunningUnderWine()) {
            QSKIP(
                "Wine's DwmSetWindowAttribute is a stub: the dark title bar cannot be seen "
                "there (the window made the call when it was shown)");
        }
        QVERIFY(SUCCEEDED(result));
        QVERIFY(dark != FALSE);
    }
};

}  // namespace tavrin

QTEST_MAIN(tavrin::WindowWinTest)
#include "window_win_test.moc"
