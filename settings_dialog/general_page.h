#pragma once

#include "settings_dialog/settings_page.h"

class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;

namespace tavrin {

// The general tab: the game folder with its check, and the lock on unencrypted HTTP.
class GeneralPage final : public SettingsPage {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(GeneralPage)
public:
    GeneralPage();

    void Fill(const SettingsDialogValues& values) override;
    void Collect(SettingsDialogValues& values) const override;
    void Retranslate() override;
    bool HttpLocked() const;
    // Whether the folder as typed may be synced into, with the check as ticked.
    bool TargetUsable() const;

signals:
    // The folder, its check or the lock changed.
    void Changed();

private:
    QString Folder() const;
    void Browse();
    void RefreshWarnings();
    void AddDownloadLimit();
    void AddGameGuard();

    QLineEdit* folder_ = nullptr;
    QCheckBox* validation_ = nullptr;
    QLabel* validationOffWarning_ = nullptr;
    QLabel* folderWarning_ = nullptr;
    QCheckBox* httpLock_ = nullptr;
    QLabel* httpWarning_ = nullptr;
    QCheckBox* downloadLimit_ = nullptr;
    QDoubleSpinBox* downloadLimitValue_ = nullptr;
    QCheckBox* syncWhileGameRunning_ = nullptr;
};

}  // namespace tavrin
