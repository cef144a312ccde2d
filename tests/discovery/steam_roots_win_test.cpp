// Windows only: Steam's registry values.
#include <windows.h>

#include <gtest/gtest.h>

#include "discovery/registry_win.h"
#include "discovery/steam_discovery.h"
#include "i18n/utf8_conversion.h"
#include "tests/support/sandbox.h"
#include "tests/support/wine.h"

namespace tavrin {
namespace {

void SetValue(const wchar_t* subKey, const wchar_t* name, const std::wstring& value) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, subKey, 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                              nullptr),
              ERROR_SUCCESS);
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

TEST(RegistryTest, stringValuesAreReadAndMissingOnesGiveNothing) {
    SetValue(L"Software\\TavrinTest", L"Text", L"hello");
    EXPECT_EQ(ReadRegistryString(HKEY_CURRENT_USER, L"Software\\TavrinTest", L"Text"), L"hello");
    EXPECT_FALSE(ReadRegistryString(HKEY_CURRENT_USER, L"Software\\TavrinTest", L"Missing"));
    EXPECT_FALSE(ReadRegistryString(HKEY_CURRENT_USER, L"Software\\NoSuchKey", L"Text"));
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\TavrinTest");
}

TEST(SteamRootsWinTest, steamExeGivesItsFolderAndDuplicatesIgnoringCaseAreSkipped) {
    if (!test::RunningUnderWine()) {
        GTEST_SKIP() << "writes Steam's own registry values, which only a throwaway Wine prefix "
                        "may have changed";
    }
    test::Sandbox sandbox;
    const std::wstring steam = PathToWide(sandbox / "Steam");
    SetValue(L"Software\\Valve\\Steam", L"SteamPath", steam);
    SetValue(L"Software\\Valve\\Steam", L"SteamExe",
             PathToWide(sandbox / "STEAM") + L"\\Steam.EXE");
    const std::vector<std::wstring> roots = SteamRoots();
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Valve\\Steam");
    ASSERT_GE(roots.size(), 3U);
    EXPECT_EQ(roots[0], steam);
    EXPECT_EQ(roots[roots.size() - 2], L"C:\\Program Files (x86)\\Steam");
    EXPECT_EQ(roots.back(), L"C:\\Program Files\\Steam");
    for (std::size_t i = 1; i + 2 < roots.size(); ++i) {
        EXPECT_NE(roots[i].find(L"InstallPath"), 0U);  // only machine-wide values may follow
        EXPECT_FALSE(CompareStringOrdinal(roots[i].c_str(), -1, steam.c_str(), -1, TRUE) ==
                     CSTR_EQUAL);
    }
}

}  // namespace
}  // namespace tavrin
