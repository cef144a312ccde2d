#pragma once

#include "settings_dialog/settings_page.h"

class QLabel;
class QPlainTextEdit;

namespace tavrin {

// A tab of legal text: the licence in one language (its title in that language too), or, with
// no licence language, the notice of the toolkit in the language in use.
class LegalPage final : public SettingsPage {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LegalPage)
public:
    LegalPage(const char* objectName, const char* licenseLanguage);

    void Retranslate() override;
    // The licence tabs keep the title the dialog gave them; the notice's follows the language.
    bool IsNotice() const { return licenseLanguage_ == nullptr; }
    QString NoticeTitle() const;

private:
    const char* licenseLanguage_;
    QLabel* title_ = nullptr;
    QLabel* hint_ = nullptr;
    QPlainTextEdit* text_ = nullptr;
};

}  // namespace tavrin
