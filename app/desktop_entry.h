#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

// The parts of the freedesktop.org desktop-entry format that an XDG autostart entry needs.
// Values are as stored in the file: the string escapes (\s \n \t \r \\) apply first, then the
// Exec quoting ("..." with \" \` \$ \\ inside) and the field codes (%% is a percent sign,
// other codes are dropped).

// Splits an Exec value into arguments. False for an unterminated quote.
bool SplitDesktopExec(std::wstring_view execValue, std::vector<std::wstring>& arguments);

// One argument quoted and escaped so that SplitDesktopExec gives it back unchanged.
std::wstring QuoteDesktopExecArgument(std::wstring_view argument);

// The Exec value of the "[Desktop Entry]" group of a file's text (UTF-8); empty when there is
// none or the entry is switched off (Hidden=true, or X-GNOME-Autostart-enabled=false).
std::string DesktopEntryExec(std::string_view fileText);

// A complete autostart entry that starts `execValue` at logon.
std::string AutostartDesktopEntry(std::string_view name, std::string_view execValue);

}  // namespace tavrin
