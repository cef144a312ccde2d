// The sync section's display of the engine's reports, and the log view.
#include <QLabel>
#include <QProgressBar>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextEdit>
#include <QTime>
#include <algorithm>

#include "i18n/translator.h"
#include "sync/progress_format.h"
#include "ui/tavrin_qt_window.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

const QString kBarStyle = QStringLiteral(
    "QProgressBar{border:1px solid #536072;border-radius:6px;background:#1f252d;"
    "min-height:14px;}QProgressBar::chunk{border-radius:5px;background:%1;}");
const QString kComparingChunk =
    QStringLiteral("qlineargradient(x1:0,y1:0,x2:1,y2:0,stop:0 #2f8f48, stop:1 #46bf6b)");
const QString kDownloadingChunk =
    QStringLiteral("qlineargradient(x1:0,y1:0,x2:1,y2:0,stop:0 #1f74cf, stop:1 #33a6e3)");

}  // namespace

void TavrinQtWindow::ResetProgress() {
    progressBar_->setRange(0, 100);
    progressBar_->setValue(0);
    SetProgressPhase(false, true);
    currentFile_->setText(Text("progress.current_file_default"));
    bytesLabel_->setText(Text("progress.bytes_default"));
    speedLabel_->setText(Text("progress.speed_default"));
    etaLabel_->setText(Text("progress.eta_total_unknown"));
}

void TavrinQtWindow::SetProgressPhase(bool comparing, bool force) {
    if (progressBar_ == nullptr || (!force && phaseApplied_ && comparing == lastPhaseComparing_)) {
        return;
    }
    phaseApplied_ = true;
    lastPhaseComparing_ = comparing;
    progressBar_->setStyleSheet(kBarStyle.arg(comparing ? kComparingChunk : kDownloadingChunk));
}

void TavrinQtWindow::ShowProgress(const ProgressMessage& message) {
    if (cancelShown_) {
        return;  // reports still on their way after a stop keep the display reset
    }
    SetProgressPhase(message.comparing, false);
    const double total = std::max<double>(message.total, 1.0);
    const double done = std::clamp<double>(message.done, 0.0, total);
    progressBar_->setRange(0, 100);
    progressBar_->setValue(static_cast<int>(std::clamp(done / total, 0.0, 1.0) * 100.0));
    currentFile_->setText(QString::fromStdWString(FormatCurrentFile(message)));
    bytesLabel_->setText(QString::fromStdWString(FormatProgressCounts(message)));
    speedLabel_->setText(QString::fromStdWString(FormatRate(message)));
    const std::optional<double> seconds =
        progressRunning_ ? remaining_.Update(message) : std::nullopt;
    etaLabel_->setText(seconds ? Text("progress.eta_total_with_value")
                                     .arg(QString::fromStdWString(FormatEta(*seconds)))
                               : Text("progress.eta_total_unknown"));
}

void TavrinQtWindow::AppendLog(const QString& text, bool bold) {
    QString line = text;
    if (line.startsWith(QString::fromStdWString(std::wstring(kHighlightPrefix)))) {
        line = line.mid(static_cast<qsizetype>(kHighlightPrefix.size()));
        bold = true;
    }
    const QTime now = QTime::currentTime();
    const QString stamped = QStringLiteral("[%1:%2:%3] ")
                                .arg(now.hour(), 2, 10, QLatin1Char('0'))
                                .arg(now.minute(), 2, 10, QLatin1Char('0'))
                                .arg(now.second(), 2, 10, QLatin1Char('0')) +
                            line;
    QTextCursor cursor = logView_->textCursor();
    cursor.movePosition(QTextCursor::End);
    if (logView_->document()->characterCount() > 1) {
        cursor.insertBlock();
    }
    QTextCharFormat format;
    format.setFont(logView_->font());
    format.setFontWeight(bold ? QFont::Bold : QFont::Normal);
    cursor.insertText(stamped, format);
    cursor.movePosition(QTextCursor::End);
    logView_->setTextCursor(cursor);
    logView_->ensureCursorVisible();
}

}  // namespace tavrin
