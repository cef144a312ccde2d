#include "app/desktop_entry.h"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

std::vector<std::wstring> Split(std::wstring_view exec) {
    std::vector<std::wstring> arguments;
    EXPECT_TRUE(SplitDesktopExec(exec, arguments)) << std::string(exec.begin(), exec.end());
    return arguments;
}

TEST(DesktopEntryTest, SplitsAtBlanksOutsideQuotes) {
    EXPECT_EQ(Split(L"/opt/tavrin/tavrin --start-in-tray"),
              (std::vector<std::wstring>{L"/opt/tavrin/tavrin", L"--start-in-tray"}));
    EXPECT_EQ(Split(L"\"/home/a b/tavrin\"   x"),
              (std::vector<std::wstring>{L"/home/a b/tavrin", L"x"}));
}

TEST(DesktopEntryTest, ReadsTheStringEscapesBeforeTheQuoting) {
    // "\\\\" in the file is one backslash inside a quoted argument.
    EXPECT_EQ(Split(L"\"/a\\\\\\\\b\""), (std::vector<std::wstring>{L"/a\\b"}));
    // An escaped blank is still a blank to the quoting: only quotes keep it in an argument.
    EXPECT_EQ(Split(L"/a\\sb"), (std::vector<std::wstring>{L"/a", L"b"}));
    EXPECT_EQ(Split(L"\"/a\\sb\""), (std::vector<std::wstring>{L"/a b"}));
    EXPECT_EQ(Split(L"\"/a\\\\\"b\""), (std::vector<std::wstring>{L"/a\"b"}));
}

TEST(DesktopEntryTest, DropsFieldCodesAndKeepsDoublePercent) {
    EXPECT_EQ(Split(L"/bin/tavrin %U 100%%"),
              (std::vector<std::wstring>{L"/bin/tavrin", L"", L"100%"}));
}

TEST(DesktopEntryTest, RefusesAnUnterminatedQuote) {
    std::vector<std::wstring> arguments;
    EXPECT_FALSE(SplitDesktopExec(L"\"/opt/tavrin", arguments));
}

TEST(DesktopEntryTest, QuotedArgumentsComeBackUnchanged) {
    for (const std::wstring path :
         {L"/opt/tavrin/tavrin", L"/home/j s/\"odd\" $HOME `x` 50%/a\\b"}) {
        EXPECT_EQ(Split(QuoteDesktopExecArgument(path) + L" --start-in-tray"),
                  (std::vector<std::wstring>{path, L"--start-in-tray"}));
    }
    EXPECT_EQ(QuoteDesktopExecArgument(L"/opt/t"), L"\"/opt/t\"");
}

TEST(DesktopEntryTest, FindsExecInTheEntryGroupOnly) {
    EXPECT_EQ(DesktopEntryExec(
                  "[Desktop Action x]\nExec=/other\n[Desktop Entry]\nName=T\nExec = /bin/t --a\n"),
              "/bin/t --a");
    EXPECT_EQ(DesktopEntryExec("[Desktop Entry]\nExecutable=/bin/t\n"), "");
}

TEST(DesktopEntryTest, ASwitchedOffEntryHasNoCommand) {
    EXPECT_EQ(DesktopEntryExec("[Desktop Entry]\nExec=/bin/t\nHidden=true\n"), "");
    EXPECT_EQ(DesktopEntryExec("[Desktop Entry]\nExec=/bin/t\nX-GNOME-Autostart-enabled=false\n"),
              "");
}

TEST(DesktopEntryTest, WritesAnEntryItReadsBack) {
    const std::string text = AutostartDesktopEntry("Tavrin", "\"/opt/t\" --start-in-tray");
    EXPECT_EQ(DesktopEntryExec(text), "\"/opt/t\" --start-in-tray");
    EXPECT_NE(text.find("[Desktop Entry]\nType=Application\nName=Tavrin\n"), std::string::npos);
}

}  // namespace
}  // namespace tavrin
