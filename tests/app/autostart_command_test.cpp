#include "app/autostart_command.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

// A path of this platform's shape for an executable that need not exist.
#ifdef _WIN32
const std::wstring kExecutable = L"C:\\Games\\Tavrin\\Tavrin.exe";
#else
const std::wstring kExecutable = L"/opt/Tavrin/tavrin";
#endif

TEST(AutostartCommandTest, ModeTextsRoundTrip) {
    EXPECT_EQ(AutostartModeToString(AutostartMode::tray), "tray");
    EXPECT_EQ(AutostartModeToString(AutostartMode::window), "window");
    EXPECT_EQ(AutostartModeFromString("Window "), AutostartMode::window);
    EXPECT_EQ(AutostartModeFromString(" WINDOW"), AutostartMode::window);
    EXPECT_EQ(AutostartModeFromString("windows"), AutostartMode::tray);
    EXPECT_EQ(AutostartModeFromString(""), AutostartMode::tray);
}

TEST(AutostartCommandTest, WindowModeIsTheQuotedPathAlone) {
    const std::wstring command = AutostartCommandFor(kExecutable, AutostartMode::window);
    EXPECT_EQ(command, L"\"" + kExecutable + L"\"");
    const AutostartState state = ReadAutostartCommand(command, kExecutable);
    EXPECT_TRUE(state.exists);
    EXPECT_TRUE(state.parsed);
    EXPECT_TRUE(state.matchesExecutable);
    EXPECT_EQ(state.mode, AutostartMode::window);
}

TEST(AutostartCommandTest, TrayModeAddsTheSwitch) {
    const std::wstring command = AutostartCommandFor(kExecutable, AutostartMode::tray);
    EXPECT_EQ(command, L"\"" + kExecutable + L"\" --start-in-tray");
    EXPECT_EQ(ReadAutostartCommand(command, kExecutable).mode, AutostartMode::tray);
}

TEST(AutostartCommandTest, TheAliasInAnyCaseMeansTray) {
    const AutostartState state = ReadAutostartCommand(
        L"\"" + kExecutable + L"\" --verbose --MINIMIZED-TO-TRAY", kExecutable);
    EXPECT_TRUE(state.matchesExecutable);
    EXPECT_EQ(state.mode, AutostartMode::tray);
}

TEST(AutostartCommandTest, TheSwitchAsFirstArgumentIsNoMode) {
    const AutostartState state = ReadAutostartCommand(L"--start-in-tray", kExecutable);
    EXPECT_TRUE(state.parsed);
    EXPECT_FALSE(state.matchesExecutable);
    EXPECT_EQ(state.mode, AutostartMode::window);
}

TEST(AutostartCommandTest, AnEmptyCommandDoesNotExist) {
    const AutostartState state = ReadAutostartCommand(L"", kExecutable);
    EXPECT_FALSE(state.exists);
    EXPECT_FALSE(state.parsed);
}

TEST(AutostartCommandTest, AnotherCopyOfTheProgramIsNotThisOne) {
    const std::wstring other = kExecutable + L"2";
    EXPECT_FALSE(ReadAutostartCommand(AutostartCommandFor(other, AutostartMode::tray), kExecutable)
                     .matchesExecutable);
}

}  // namespace
}  // namespace tavrin
