#include "settings_dialog/autostart_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "desktop/autostart.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kWindowItem = 0;
constexpr int kTrayItem = 1;

}  // namespace

AutostartPage::AutostartPage() : SettingsPage("SettingsAutostartTab", "dialog.tab_autostart") {
    Layout()->addWidget(TranslatedLabel("section.autostart", "SectionTitle"));
    autostart_ = TranslatedCheck("SettingsAutostartCheck", AutostartTexts().checkbox);
    Layout()->addWidget(TranslatedLabel(AutostartTexts().hint, "HintLabel"));
    auto* row = new QHBoxLayout;
    row->addWidget(TranslatedLabel("dialog.autostart_mode_label", nullptr));
    mode_ = new QComboBox(this);
    mode_->setObjectName(QStringLiteral("SettingsAutostartModeCombo"));
    mode_->addItem(QString(), kWindowItem);
    mode_->addItem(QString(), kTrayItem);
    row->addWidget(mode_, 1);
    Layout()->addLayout(row);
    Layout()->addStretch(1);
    connect(autostart_, &QCheckBox::toggled, mode_, &QComboBox::setEnabled);
}

void AutostartPage::Fill(const SettingsDialogValues& values) {
    autostart_->setChecked(values.autostartEnabled);
    mode_->setEnabled(values.autostartEnabled);
    mode_->setCurrentIndex(values.autostartMode == AutostartMode::window ? kWindowItem : kTrayItem);
}

void AutostartPage::Collect(SettingsDialogValues& values) const {
    values.autostartEnabled = autostart_->isChecked();
    values.autostartMode =
        mode_->currentData().toInt() == kWindowItem ? AutostartMode::window : AutostartMode::tray;
}

void AutostartPage::Retranslate() {
    SettingsPage::Retranslate();
    mode_->setItemText(kWindowItem, Text("dialog.autostart_mode_window"));
    mode_->setItemText(kTrayItem, Text("dialog.autostart_mode_tray"));
}

}  // namespace tavrin
