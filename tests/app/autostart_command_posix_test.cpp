// The autostart entry's command as a Linux desktop reads it.
#include <gtest/gtest.h>

#include "app/autostart_command.h"

namespace tavrin {
namespace {

TEST(AutostartCommandPosixTest, FileNamesAreCaseSensitive) {
    EXPECT_FALSE(
        ReadAutostartCommand(L"\"/opt/tavrin/TAVRIN\"", L"/opt/tavrin/tavrin").matchesExecutable);
}

TEST(AutostartCommandPosixTest, AQuotedPathWithBlanksAndBackslashesMatches) {
    const std::wstring executable = L"/home/p l/a\\b/tavrin";
    const std::wstring command = AutostartCommandFor(executable, AutostartMode::tray);
    const AutostartState state = ReadAutostartCommand(command, executable);
    EXPECT_TRUE(state.matchesExecutable);
    EXPECT_EQ(state.mode, AutostartMode::tray);
}

TEST(AutostartCommandPosixTest, RelativeSegmentsAreResolvedBeforeComparing) {
    EXPECT_TRUE(
        ReadAutostartCommand(L"/opt/x/../tavrin//tavrin", L"/opt/tavrin/tavrin").matchesExecutable);
}

}  // namespace
}  // namespace tavrin
