#pragma once

#include <QWidget>

#include "sync/progress.h"
#include "sync/remaining_time.h"

class QLabel;
class QProgressBar;

namespace tavrin {

// The sync section: the auto-sync badge, the current file, the bar (green while comparing,
// blue while downloading), the counts, the rate and the time left.
class ProgressSection final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ProgressSection)
public:
    explicit ProgressSection(QWidget* parent = nullptr);

    void Retranslate();
    void Reset();
    void SetPhase(bool comparing, bool force);
    // `limited`: the player's download limit holds the rate down, which the rate says.
    void Show(const ProgressMessage& message, bool limited = false);
    // The bar's value: the phase's share done, 0 to 100.
    int Percent() const;
    // A run starts estimating from the rates learnt in earlier runs.
    void RunStarted(const ThroughputRates& learnt);
    // The learnt rates with this run's blended in.
    ThroughputRates RunFinished(const ThroughputRates& learnt);
    // Reports still on their way after a stop keep the display reset.
    void ShowCancelled();
    // The badge says what auto-sync waits for, or that it is on.
    void ShowAutoSyncBadge(bool visible, const QString& waitingText);

private:
    QLabel* title_ = nullptr;
    QLabel* autoSyncBadge_ = nullptr;
    QLabel* currentFile_ = nullptr;
    QProgressBar* bar_ = nullptr;
    QLabel* bytes_ = nullptr;
    QLabel* speed_ = nullptr;
    QLabel* eta_ = nullptr;
    bool running_ = false;
    bool cancelShown_ = false;
    bool lastPhaseComparing_ = false;
    bool phaseApplied_ = false;
    RemainingTimeEstimator remaining_;
};

}  // namespace tavrin
