// The sync command as the window shows it: requests go to the controller, refusals of the
// player's own requests become warning boxes, and a run's start and end reach the display.
#include <QMessageBox>

#include "i18n/translator.h"
#include "sync/remaining_time.h"
#include "ui/tavrin_qt_window.h"
#include "widgets/ui_text.h"

namespace tavrin {

void TavrinQtWindow::WarnModally(const char* titleKey, const QString& text) {
    QMessageBox box(QMessageBox::Warning, Text(titleKey), text, QMessageBox::Ok, this,
                    Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.exec();
}

void TavrinQtWindow::RequestSync(bool automatic, const QString& reason) {
    const SyncRefusal refusal = controller_->RequestSync(automatic, reason, CheckedProjectKeys());
    if (automatic) {
        return;  // automatic refusals are logged by the controller
    }
    switch (refusal) {
        case SyncRefusal::noServer:
            WarnModally("title.server", Text("warn.select_at_least_one_server"));
            break;
        case SyncRefusal::noTarget:
        case SyncRefusal::waitingForFolder:
            WarnModally("title.target_folder", Text("warn.set_target_folder_first"));
            break;
        case SyncRefusal::noProjects:
            WarnModally("title.projects", Text("warn.select_at_least_one_project"));
            break;
        case SyncRefusal::passwordCancelled:
            WarnModally("title.projects", Text("warn.invalid_project_selection"));
            break;
        default:
            break;
    }
}

void TavrinQtWindow::OnRunStarted() {
    cancelShown_ = false;
    progressRunning_ = true;
    runStarted_ = std::chrono::steady_clock::now();
    remaining_ =
        RemainingTimeEstimator({settings_.downloadBytesPerSecond, settings_.downloadFilesPerSecond,
                                settings_.compareFilesPerSecond});
    ResetProgress();
    UpdateCommandStates();
}

void TavrinQtWindow::OnRunFinished(bool ok, bool automatic, const QString& message) {
    cancelShown_ = false;
    progressRunning_ = false;
    const ThroughputRates blended = RemainingTimeEstimator::Blend(
        {settings_.downloadBytesPerSecond, settings_.downloadFilesPerSecond,
         settings_.compareFilesPerSecond},
        remaining_.Live());
    settings_.downloadBytesPerSecond = blended.downloadBytesPerSecond;
    settings_.downloadFilesPerSecond = blended.downloadFilesPerSecond;
    settings_.compareFilesPerSecond = blended.compareFilesPerSecond;
    AppendLog(message, false);
    ResetProgress();
    ScheduleSettingsSave();
    if (!ok && !automatic) {
        QMessageBox box(QMessageBox::Critical, Text("title.sync"), message, QMessageBox::Ok, this,
                        Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.exec();
    }
    UpdateCommandStates();
}

void TavrinQtWindow::CancelSync() {
    if (!controller_->IsBusy()) {
        return;
    }
    cancelShown_ = true;
    ResetProgress();
    controller_->CancelSync();
}

}  // namespace tavrin
