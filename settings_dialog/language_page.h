#pragma once

#include "settings_dialog/settings_page.h"

class QComboBox;

namespace tavrin {

// The language tab. A language chosen here applies at once, before the dialog is accepted.
class LanguagePage final : public SettingsPage {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LanguagePage)
public:
    LanguagePage();

    void Fill(const SettingsDialogValues& values) override;

signals:
    // The language was switched; everything on show retranslates.
    void LanguageSwitched(const QString& code);

private:
    void OnLanguageChosen(int index);

    QComboBox* combo_ = nullptr;
};

}  // namespace tavrin
