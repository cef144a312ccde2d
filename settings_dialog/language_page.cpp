#include "settings_dialog/language_page.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "i18n/translator.h"
#include "widgets/language_list.h"

namespace tavrin {

LanguagePage::LanguagePage() : SettingsPage("SettingsLanguageTab", "section.language") {
    Layout()->addWidget(TranslatedLabel("section.language", "SectionTitle"));
    auto* row = new QHBoxLayout;
    row->addWidget(TranslatedLabel("dialog.language_label", nullptr));
    combo_ = new QComboBox(this);
    combo_->setObjectName(QStringLiteral("SettingsLanguageCombo"));
    for (const LanguageEntry& language : ChooserLanguages()) {
        combo_->addItem(QString::fromStdString(language.name),
                        QString::fromStdString(language.code));
    }
    row->addWidget(combo_, 1);
    Layout()->addLayout(row);
    Layout()->addWidget(TranslatedLabel("dialog.language_hint", "HintLabel"));
    Layout()->addStretch(1);
}

void LanguagePage::Fill(const SettingsDialogValues& /*values*/) {
    const int language = combo_->findData(QString::fromStdString(CurrentLanguage()), Qt::UserRole);
    combo_->setCurrentIndex(language >= 0 ? language : 0);
    connect(combo_, &QComboBox::currentIndexChanged, this, &LanguagePage::OnLanguageChosen);
}

void LanguagePage::OnLanguageChosen(int index) {
    const QString code = combo_->itemData(index, Qt::UserRole).toString();
    if (code.isEmpty() || code.toStdString() == CurrentLanguage()) {
        return;
    }
    if (!SetLanguage(code.toStdString())) {
        // The pack could not be loaded: the chooser goes back to the language in use.
        const QSignalBlocker blocker(combo_);
        combo_->setCurrentIndex(combo_->findData(QString::fromStdString(CurrentLanguage())));
        return;
    }
    emit LanguageSwitched(QString::fromStdString(CurrentLanguage()));
}

}  // namespace tavrin
