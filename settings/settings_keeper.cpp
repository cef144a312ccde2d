#include "settings/settings_keeper.h"

#include <QSettings>
#include <QTimer>

#include "i18n/translator.h"

namespace tavrin {

namespace {

constexpr int kSaveDelayMs = 700;

}  // namespace

SettingsKeeper::SettingsKeeper(QString settingsPath, QObject* parent)
    : QObject(parent), path_(std::move(settingsPath)), timer_(new QTimer(this)) {
    timer_->setSingleShot(true);
    timer_->setInterval(kSaveDelayMs);
    connect(timer_, &QTimer::timeout, this, [this] { Flush(false); });
}

SettingsKeeper::FileState SettingsKeeper::CheckFile(QString& aside, QString& error) {
    if (SettingsFileReadable(path_)) {
        return FileState::readable;
    }
    aside = MoveSettingsFileAside(path_, error);
    if (aside.isEmpty()) {
        writeBlocked_ = true;
        return FileState::keptUnreadable;
    }
    return FileState::movedAside;
}

bool SettingsKeeper::Load(const SettingsLoadHooks& hooks) {
    const bool switchedOff = ReadSettingsFile(path_, record_, hooks);
    QSettings file(path_, QSettings::IniFormat);
    record_.autoSyncRevisions = ReadAutoSyncRevisions(file);
    return switchedOff;
}

void SettingsKeeper::ScheduleSave() {
    if (suppressed_) {
        return;
    }
    savePending_ = true;
    revisionsSavePending_ = true;
    timer_->start();
}

void SettingsKeeper::ScheduleRevisionsSave() {
    if (suppressed_) {
        return;
    }
    revisionsSavePending_ = true;
    timer_->start();
}

void SettingsKeeper::Flush(bool force) {
    timer_->stop();
    if (force) {
        savePending_ = true;
        revisionsSavePending_ = true;
    }
    if (savePending_) {
        Save();
        savePending_ = false;
        revisionsSavePending_ = false;
        return;
    }
    if (revisionsSavePending_) {
        if (!writeBlocked_) {
            WriteAutoSyncRevisionsFile(path_, record_.autoSyncRevisions);
        }
        revisionsSavePending_ = false;
    }
}

void SettingsKeeper::Save() {
    if (writeBlocked_) {
        return;  // the file that could not be read is the player's to rescue
    }
    record_.language = QString::fromStdString(CurrentLanguage());
    WriteSettingsFile(path_, record_, record_.autoSyncRevisions);
}

}  // namespace tavrin
