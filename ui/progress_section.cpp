#include "ui/progress_section.h"

#include <QGridLayout>
#include <QLabel>
#include <QProgressBar>
#include <QStyle>
#include <algorithm>

#include "sync/progress_format.h"
#include "widgets/section_parts.h"
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

ProgressSection::ProgressSection(QWidget* parent) : QWidget(parent) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(3);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 0);
    title_ = MakeLabel(QStringLiteral("SectionTitle"), this);
    autoSyncBadge_ = MakeLabel(QStringLiteral("AutoSyncBadge"), this);
    autoSyncBadge_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    currentFile_ = MakeLabel(QStringLiteral("CurrentFileLabel"), this);
    bar_ = new QProgressBar(this);
    bar_->setObjectName(QStringLiteral("SyncProgress"));
    bar_->setRange(0, 1);
    bar_->setValue(0);
    bar_->setTextVisible(false);
    bytes_ = MakeLabel(QStringLiteral("BytesLabel"), this);
    speed_ = MakeLabel(QStringLiteral("SpeedLabel"), this);
    eta_ = MakeLabel(QStringLiteral("EtaLabel"), this);
    grid->addWidget(title_, 0, 0);
    grid->addWidget(autoSyncBadge_, 0, 1, Qt::AlignRight | Qt::AlignVCenter);
    grid->addWidget(currentFile_, 1, 0, 1, 2);
    grid->addWidget(bar_, 2, 0, 1, 2);
    grid->addWidget(bytes_, 3, 0, 1, 2);
    grid->addWidget(speed_, 4, 0);
    grid->addWidget(eta_, 4, 1);
}

void ProgressSection::Retranslate() {
    title_->setText(Text("section.sync"));
}

void ProgressSection::Reset() {
    bar_->setRange(0, 100);
    bar_->setValue(0);
    SetPhase(false, true);
    currentFile_->setText(Text("progress.current_file_default"));
    bytes_->setText(Text("progress.bytes_default"));
    speed_->setText(Text("progress.speed_default"));
    eta_->setText(Text("progress.eta_total_unknown"));
}

void ProgressSection::SetPhase(bool comparing, bool force) {
    if (!force && phaseApplied_ && comparing == lastPhaseComparing_) {
        return;
    }
    phaseApplied_ = true;
    lastPhaseComparing_ = comparing;
    bar_->setStyleSheet(kBarStyle.arg(comparing ? kComparingChunk : kDownloadingChunk));
}

void ProgressSection::Show(const ProgressMessage& message, bool limited) {
    if (cancelShown_) {
        return;
    }
    SetPhase(message.comparing, false);
    const double total = std::max<double>(message.total, 1.0);
    const double done = std::clamp<double>(message.done, 0.0, total);
    bar_->setRange(0, 100);
    bar_->setValue(static_cast<int>(std::clamp(done / total, 0.0, 1.0) * 100.0));
    currentFile_->setText(QString::fromStdWString(FormatCurrentFile(message)));
    bytes_->setText(QString::fromStdWString(FormatProgressCounts(message)));
    const QString rate = QString::fromStdWString(FormatRate(message));
    speed_->setText(limited && !message.comparing
                        ? rate + QLatin1Char(' ') + Text("progress.speed_limited")
                        : rate);
    const std::optional<double> seconds = running_ ? remaining_.Update(message) : std::nullopt;
    eta_->setText(seconds ? Text("progress.eta_total_with_value")
                                .arg(QString::fromStdWString(FormatEta(*seconds)))
                          : Text("progress.eta_total_unknown"));
}

int ProgressSection::Percent() const {
    return bar_->maximum() == 100 ? bar_->value() : 0;
}

void ProgressSection::RunStarted(const ThroughputRates& learnt) {
    cancelShown_ = false;
    running_ = true;
    remaining_ = RemainingTimeEstimator(learnt);
    Reset();
}

ThroughputRates ProgressSection::RunFinished(const ThroughputRates& learnt) {
    cancelShown_ = false;
    running_ = false;
    return RemainingTimeEstimator::Blend(learnt, remaining_.Live());
}

void ProgressSection::ShowCancelled() {
    cancelShown_ = true;
    Reset();
}

void ProgressSection::ShowAutoSyncBadge(bool visible, const QString& waitingText) {
    const bool waiting = !waitingText.isEmpty();
    autoSyncBadge_->setText(waiting ? waitingText : Text("badge.auto_sync_active"));
    if (autoSyncBadge_->property("waiting").toBool() != waiting) {
        autoSyncBadge_->setProperty("waiting", waiting);
        autoSyncBadge_->style()->unpolish(autoSyncBadge_);  // the style sheet reads the property
        autoSyncBadge_->style()->polish(autoSyncBadge_);
    }
    autoSyncBadge_->setVisible(visible);
}

}  // namespace tavrin
