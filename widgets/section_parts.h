#pragma once

#include <QString>

class QFrame;
class QLabel;
class QWidget;

namespace tavrin {

// The thin line between two sections of the window.
QFrame* MakeDivider(QWidget* parent);
// A label styled by the sheet through its object name.
QLabel* MakeLabel(const QString& objectName, QWidget* parent);

}  // namespace tavrin
