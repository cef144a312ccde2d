#pragma once

#include <QString>

namespace tavrin {

// The dark theme of every window and box of the program (the resource ":/ui/theme.qss").
QString ThemeStyleSheet();

}  // namespace tavrin
