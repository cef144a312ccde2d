#pragma once

#include "settings_dialog/settings_page.h"

class QCheckBox;
class QComboBox;

namespace tavrin {

// The autostart tab: start at logon, in the window or hidden in the tray.
class AutostartPage final : public SettingsPage {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AutostartPage)
public:
    AutostartPage();

    void Fill(const SettingsDialogValues& values) override;
    void Collect(SettingsDialogValues& values) const override;
    void Retranslate() override;

private:
    QCheckBox* autostart_ = nullptr;
    QComboBox* mode_ = nullptr;
};

}  // namespace tavrin
