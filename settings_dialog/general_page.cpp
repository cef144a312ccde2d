#include "settings_dialog/general_page.h"

#include <QCheckBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "settings/settings_store.h"
#include "sync/path_safety.h"
#include "widgets/ui_text.h"

namespace tavrin {

GeneralPage::GeneralPage() : SettingsPage("SettingsGeneralTab", "dialog.tab_general") {
    Layout()->addWidget(TranslatedLabel("section.target_folder", "SectionTitle"));
    auto* row = new QHBoxLayout;
    folder_ = new QLineEdit(this);
    folder_->setObjectName(QStringLiteral("SettingsTargetFolderEdit"));
    Translate(folder_, "placeholder.assetto_corsa_folder");
    auto* browse = new QPushButton(this);
    browse->setObjectName(QStringLiteral("SecondaryButton"));
    Translate(browse, "button.browse");
    row->addWidget(folder_, 1);
    row->addWidget(browse);
    Layout()->addLayout(row);
    Layout()->addWidget(TranslatedLabel("dialog.target_folder_hint", "HintLabel"));
    validation_ =
        TranslatedCheck("SettingsTargetValidationCheck", "dialog.target_validation_checkbox");
    Layout()->addWidget(TranslatedLabel("dialog.target_validation_hint", "HintLabel"));
    validationOffWarning_ =
        TranslatedLabel("dialog.target_validation_disabled_warning", "DangerHintLabel");
    folderWarning_ = TranslatedLabel("dialog.target_folder_warning", "DangerHintLabel");
    Layout()->addWidget(validationOffWarning_);
    Layout()->addWidget(folderWarning_);
    Layout()->addSpacing(8);
    Layout()->addWidget(TranslatedLabel("section.http_security", "SectionTitle"));
    httpLock_ = TranslatedCheck("SettingsHttpLockCheck", "dialog.http_lock_checkbox");
    Layout()->addWidget(TranslatedLabel("dialog.http_lock_hint", "HintLabel"));
    httpWarning_ = TranslatedLabel("dialog.http_unencrypted_warning", "DangerHintLabel");
    Layout()->addWidget(httpWarning_);
    AddDownloadLimit();
    AddGameGuard();
    Layout()->addStretch(1);

    connect(browse, &QPushButton::clicked, this, &GeneralPage::Browse);
    connect(folder_, &QLineEdit::textChanged, this, &GeneralPage::RefreshWarnings);
    connect(httpLock_, &QCheckBox::toggled, this, &GeneralPage::RefreshWarnings);
}

// One limit for all downloads of a run together, off by default.
void GeneralPage::AddDownloadLimit() {
    Layout()->addSpacing(8);
    Layout()->addWidget(TranslatedLabel("section.download_speed", "SectionTitle"));
    auto* row = new QHBoxLayout;
    downloadLimit_ = new QCheckBox(this);
    downloadLimit_->setObjectName(QStringLiteral("SettingsDownloadLimitCheck"));
    Translate(downloadLimit_, "dialog.download_limit_checkbox");
    downloadLimitValue_ = new QDoubleSpinBox(this);
    downloadLimitValue_->setObjectName(QStringLiteral("SettingsDownloadLimitValue"));
    downloadLimitValue_->setRange(kLeastDownloadLimitMBps, kMostDownloadLimitMBps);
    downloadLimitValue_->setDecimals(1);
    downloadLimitValue_->setSingleStep(1.0);
    row->addWidget(downloadLimit_);
    row->addWidget(downloadLimitValue_);
    row->addStretch(1);
    Layout()->addLayout(row);
    Layout()->addWidget(TranslatedLabel("dialog.download_limit_hint", "HintLabel"));
    connect(downloadLimit_, &QCheckBox::toggled, downloadLimitValue_, &QWidget::setEnabled);
}

// Off by default: a running game keeps files open that a sync could not replace.
void GeneralPage::AddGameGuard() {
    Layout()->addSpacing(8);
    Layout()->addWidget(TranslatedLabel("section.while_playing", "SectionTitle"));
    syncWhileGameRunning_ =
        TranslatedCheck("SettingsSyncWhileGameRunningCheck", "dialog.sync_while_game_running");
    Layout()->addWidget(TranslatedLabel("dialog.sync_while_game_running_hint", "HintLabel"));
}

void GeneralPage::Retranslate() {
    SettingsPage::Retranslate();
    downloadLimitValue_->setSuffix(QLatin1Char(' ') + Text("dialog.download_limit_unit"));
}

void GeneralPage::Fill(const SettingsDialogValues& values) {
    downloadLimit_->setChecked(values.downloadLimitEnabled);
    downloadLimitValue_->setValue(values.downloadLimitMBps);
    downloadLimitValue_->setEnabled(values.downloadLimitEnabled);
    syncWhileGameRunning_->setChecked(values.syncWhileGameRunning);
    folder_->setText(QDir::toNativeSeparators(values.targetPath.trimmed()));
    validation_->setChecked(values.targetValidationEnabled);
    httpLock_->setChecked(values.httpLockEnabled);
    // Connected after filling: only the player's own switching off deserves the warning box.
    connect(validation_, &QCheckBox::toggled, this, [this](bool checked) {
        RefreshWarnings();
        if (!checked) {
            Warn("title.target_folder", Text("dialog.target_validation_disabled_message"));
        }
    });
    RefreshWarnings();
}

void GeneralPage::Collect(SettingsDialogValues& values) const {
    values.targetPath = Folder();
    values.targetValidationEnabled = validation_->isChecked();
    values.httpLockEnabled = httpLock_->isChecked();
    values.downloadLimitEnabled = downloadLimit_->isChecked();
    values.downloadLimitMBps = downloadLimitValue_->value();
    values.syncWhileGameRunning = syncWhileGameRunning_->isChecked();
}

bool GeneralPage::HttpLocked() const {
    return httpLock_->isChecked();
}

bool GeneralPage::TargetUsable() const {
    return IsUsableTargetFolder(Folder().toStdWString(), validation_->isChecked());
}

QString GeneralPage::Folder() const {
    return QDir::toNativeSeparators(folder_->text().trimmed());
}

void GeneralPage::Browse() {
    QFileDialog chooser(window(), Text("dialog.choose_target_folder"), folder_->text());
    chooser.setFileMode(QFileDialog::Directory);
    chooser.setOptions(QFileDialog::ShowDirsOnly | QFileDialog::DontUseNativeDialog);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty()) {
        return;
    }
    folder_->setText(QDir::toNativeSeparators(chooser.selectedFiles().constFirst()));
}

void GeneralPage::RefreshWarnings() {
    const QString folder = Folder();
    const bool validation = validation_->isChecked();
    validationOffWarning_->setVisible(!validation);
    folderWarning_->setVisible(validation && !folder.isEmpty() &&
                               !IsUsableTargetFolder(folder.toStdWString(), true));
    httpWarning_->setVisible(!httpLock_->isChecked());
    emit Changed();
}

}  // namespace tavrin
