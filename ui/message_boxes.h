#pragma once

class QString;
class QWidget;

namespace tavrin {

// A message box with OK: `icon` a QMessageBox::Icon, the title a text key.
void ShowMessage(QWidget* parent, int icon, const char* titleKey, const QString& text);

// Asks the player whether a sync should run while the game runs, since files the game has
// open cannot be replaced. No is the default. True for Yes.
bool AskSyncWhileGameRuns(QWidget* parent);

}  // namespace tavrin
