#pragma once

class QWidget;

namespace tavrin {

// Asks the player whether a sync should run while the game runs, since files the game has
// open cannot be replaced. No is the default. True for Yes.
bool AskSyncWhileGameRuns(QWidget* parent);

}  // namespace tavrin
