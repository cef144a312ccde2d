// The Run value's command-line rules as Windows applies them.
#include <windows.h>

#include <gtest/gtest.h>

#include "app/autostart_command.h"

namespace tavrin {
namespace {

TEST(AutostartCommandWinTest, AnotherLetterCaseIsTheSameExecutable) {
    const AutostartState state = ReadAutostartCommand(
        L"\"c:\\GAMES\\tavrin\\TAVRIN.EXE\" --start-in-tray", L"C:\\Games\\Tavrin\\Tavrin.exe");
    EXPECT_TRUE(state.matchesExecutable);
    EXPECT_EQ(state.mode, AutostartMode::tray);
}

TEST(AutostartCommandWinTest, EnvironmentReferencesAreExpandedFirst) {
    ASSERT_TRUE(SetEnvironmentVariableW(L"TAVRIN_TEST_HOME", L"C:\\Users\\Player"));
    const AutostartState state = ReadAutostartCommand(L"\"%TAVRIN_TEST_HOME%\\Apps\\Tavrin.exe\"",
                                                      L"C:\\Users\\Player\\Apps\\Tavrin.exe");
    EXPECT_TRUE(state.matchesExecutable);
    SetEnvironmentVariableW(L"TAVRIN_TEST_HOME", nullptr);
}

TEST(AutostartCommandWinTest, RelativeSegmentsAreResolvedBeforeComparing) {
    EXPECT_TRUE(ReadAutostartCommand(L"\"C:\\Games\\x\\..\\Tavrin\\Tavrin.exe\"",
                                     L"C:\\Games\\Tavrin\\Tavrin.exe")
                    .matchesExecutable);
}

}  // namespace
}  // namespace tavrin
