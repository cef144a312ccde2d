#pragma once

#include <QObject>
#include <QString>

#include "settings/settings_record.h"
#include "settings/settings_store.h"

class QTimer;

namespace tavrin {

// The window's settings record and its file. Writes are debounced: a burst of changes writes
// the file once, 700 ms after the last one. A file that cannot be read is never written over:
// it is moved aside (or, when even that fails, left alone and never saved to).
class SettingsKeeper final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SettingsKeeper)
public:
    SettingsKeeper(QString settingsPath, QObject* parent);

    enum class FileState { readable, movedAside, keptUnreadable };
    // Before anything reads or writes a key: moves an unreadable file aside to `aside`. When
    // it stays where it is, `error` says why, and the file is never written.
    FileState CheckFile(QString& aside, QString& error);
    // Fills the record from the file, the auto-sync revisions included. True when auto-sync
    // was on in the file and had to be switched off for an unusable folder.
    bool Load(const SettingsLoadHooks& hooks);

    SettingsRecord& Record() { return record_; }
    const SettingsRecord& Record() const { return record_; }
    const QString& Path() const { return path_; }

    void ScheduleSave();
    void ScheduleRevisionsSave();
    // Writes what is pending now; `force` writes everything.
    void Flush(bool force);
    // While set, changes schedule no write (the record is being filled from the file).
    void SetSuppressed(bool suppressed) { suppressed_ = suppressed; }

private:
    void Save();

    QString path_;
    SettingsRecord record_;
    bool writeBlocked_ = false;
    bool savePending_ = false;
    bool revisionsSavePending_ = false;
    bool suppressed_ = false;
    QTimer* timer_ = nullptr;
};

}  // namespace tavrin
