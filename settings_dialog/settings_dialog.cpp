#include "settings_dialog/settings_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "desktop/autostart.h"
#include "i18n/legal_texts.h"
#include "i18n/translator.h"
#include "sync/path_safety.h"
#include "widgets/language_list.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kDialogWidth = 800;
constexpr int kDialogHeight = 560;

QString LegalText(std::string_view code, std::string LegalTexts::*field) {
    return QString::fromStdString(LegalTextsFor(code).*field);
}

}  // namespace

QVBoxLayout* SettingsDialog::PageLayout(QWidget* page) {
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(12, 10, 12, 10);
    layout->setSpacing(6);
    return layout;
}

QWidget* SettingsDialog::MakePage(const char* objectName, const char* titleKey) {
    auto* page = new QWidget;
    page->setObjectName(QString::fromLatin1(objectName));
    page->setAttribute(Qt::WA_StyledBackground, true);  // lets the style sheet paint it
    page->setProperty("titleKey", QString::fromLatin1(titleKey));
    return page;
}

SettingsDialog::SettingsDialog(const SettingsDialogValues& values,
                               const std::vector<ProjectEntry>& projects, QWidget* parent)
    : QDialog(parent), servers_(values.servers), projects_(projects) {
    setObjectName(QStringLiteral("SettingsDialog"));
    setModal(true);
    resize(kDialogWidth, kDialogHeight);

    tabs_ = new QTabWidget(this);
    tabs_->setObjectName(QStringLiteral("SettingsTabs"));
    tabs_->addTab(BuildLanguageTab(), QString());
    tabs_->addTab(BuildServerTab(), QString());
    tabs_->addTab(BuildGeneralTab(), QString());
    tabs_->addTab(BuildAutostartTab(), QString());
    tabs_->addTab(BuildAutoSyncTab(), QString());
    tabs_->addTab(BuildLegalTab("SettingsLegalTabDe", "de"), QStringLiteral("Deutsch"));
    tabs_->addTab(BuildLegalTab("SettingsLegalTabEn", "en"), QStringLiteral("English"));
    tabs_->addTab(BuildNoticeTab(), QString());

    okButton_ = new QPushButton(this);
    okButton_->setObjectName(QStringLiteral("PrimaryButton"));
    okButton_->setDefault(true);
    Translate(okButton_, "button.ok");
    cancelButton_ = new QPushButton(this);
    cancelButton_->setObjectName(QStringLiteral("SecondaryButton"));
    Translate(cancelButton_, "button.cancel");
    connect(okButton_, &QPushButton::clicked, this, &SettingsDialog::TryAccept);
    connect(cancelButton_, &QPushButton::clicked, this, &SettingsDialog::reject);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(okButton_);
    buttons->addWidget(cancelButton_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->addWidget(tabs_, 1);
    layout->addLayout(buttons);

    Fill(values);
    FillAutoSyncTree(projects, values.autoSyncProjects);
    Retranslate();
}

QLabel* SettingsDialog::TranslatedLabel(const char* key, const char* objectName, QWidget* parent) {
    auto* label = new QLabel(parent);
    if (objectName != nullptr) {
        label->setObjectName(QString::fromLatin1(objectName));
    }
    label->setWordWrap(true);
    Translate(label, key);
    return label;
}

void SettingsDialog::Translate(QObject* target, const char* key, bool placeholder) {
    texts_.push_back({target, key, placeholder});
}

QWidget* SettingsDialog::BuildLanguageTab() {
    QWidget* page = MakePage("SettingsLanguageTab", "section.language");
    QVBoxLayout* layout = PageLayout(page);
    layout->addWidget(TranslatedLabel("section.language", "SectionTitle", page));
    auto* row = new QHBoxLayout;
    row->addWidget(TranslatedLabel("dialog.language_label", nullptr, page));
    languageCombo_ = new QComboBox(page);
    languageCombo_->setObjectName(QStringLiteral("SettingsLanguageCombo"));
    for (const LanguageEntry& language : ChooserLanguages()) {
        languageCombo_->addItem(QString::fromStdString(language.name),
                                QString::fromStdString(language.code));
    }
    row->addWidget(languageCombo_, 1);
    layout->addLayout(row);
    layout->addWidget(TranslatedLabel("dialog.language_hint", "HintLabel", page));
    layout->addStretch(1);
    return page;
}

QWidget* SettingsDialog::BuildServerTab() {
    QWidget* page = MakePage("SettingsServerTab", "dialog.tab_servers");
    QVBoxLayout* layout = PageLayout(page);
    layout->addWidget(TranslatedLabel("dialog.server_settings_help", "HintLabel", page));
    layout->addWidget(TranslatedLabel("dialog.server_settings_steps", "HintLabel", page));
    serverList_ = new QListWidget(page);
    serverList_->setObjectName(QStringLiteral("SettingsServerList"));
    serverList_->setSelectionMode(QAbstractItemView::SingleSelection);
    serverList_->viewport()->installEventFilter(this);
    layout->addWidget(serverList_, 1);

    auto* fields = new QGridLayout;
    fields->setHorizontalSpacing(8);
    fields->addWidget(TranslatedLabel("dialog.label_name", nullptr, page), 0, 0);
    serverName_ = new QLineEdit(page);
    serverName_->setObjectName(QStringLiteral("SettingsServerNameEdit"));
    Translate(serverName_, "dialog.server_name_placeholder", true);
    fields->addWidget(serverName_, 0, 1);
    fields->addWidget(TranslatedLabel("dialog.label_url", nullptr, page), 1, 0);
    serverUrl_ = new QLineEdit(page);
    serverUrl_->setObjectName(QStringLiteral("SettingsServerUrlEdit"));
    Translate(serverUrl_, "dialog.server_url_placeholder", true);
    fields->addWidget(serverUrl_, 1, 1);
    layout->addLayout(fields);

    auto* buttons = new QHBoxLayout;
    addButton_ = new QPushButton(page);
    addButton_->setObjectName(QStringLiteral("SettingsAddServerButton"));
    removeButton_ = new QPushButton(page);
    removeButton_->setObjectName(QStringLiteral("GhostButton"));
    Translate(removeButton_, "button.remove");
    buttons->addStretch(1);
    buttons->addWidget(addButton_);
    buttons->addWidget(removeButton_);
    layout->addLayout(buttons);

    connect(addButton_, &QPushButton::clicked, this, &SettingsDialog::AddOrUpdateServer);
    connect(removeButton_, &QPushButton::clicked, this, &SettingsDialog::RemoveServer);
    connect(serverList_, &QListWidget::itemSelectionChanged, this,
            &SettingsDialog::OnServerRowChanged);
    return page;
}

QWidget* SettingsDialog::BuildGeneralTab() {
    QWidget* page = MakePage("SettingsGeneralTab", "dialog.tab_general");
    QVBoxLayout* layout = PageLayout(page);
    layout->addWidget(TranslatedLabel("section.target_folder", "SectionTitle", page));
    auto* row = new QHBoxLayout;
    targetFolder_ = new QLineEdit(page);
    targetFolder_->setObjectName(QStringLiteral("SettingsTargetFolderEdit"));
    Translate(targetFolder_, "placeholder.assetto_corsa_folder", true);
    auto* browse = new QPushButton(page);
    browse->setObjectName(QStringLiteral("SecondaryButton"));
    Translate(browse, "button.browse");
    row->addWidget(targetFolder_, 1);
    row->addWidget(browse);
    layout->addLayout(row);
    layout->addWidget(TranslatedLabel("dialog.target_folder_hint", "HintLabel", page));
    targetValidation_ = new QCheckBox(page);
    targetValidation_->setObjectName(QStringLiteral("SettingsTargetValidationCheck"));
    Translate(targetValidation_, "dialog.target_validation_checkbox");
    layout->addWidget(targetValidation_);
    layout->addWidget(TranslatedLabel("dialog.target_validation_hint", "HintLabel", page));
    validationOffWarning_ =
        TranslatedLabel("dialog.target_validation_disabled_warning", "DangerHintLabel", page);
    folderWarning_ = TranslatedLabel("dialog.target_folder_warning", "DangerHintLabel", page);
    layout->addWidget(validationOffWarning_);
    layout->addWidget(folderWarning_);
    layout->addSpacing(8);
    layout->addWidget(TranslatedLabel("section.http_security", "SectionTitle", page));
    httpLock_ = new QCheckBox(page);
    httpLock_->setObjectName(QStringLiteral("SettingsHttpLockCheck"));
    Translate(httpLock_, "dialog.http_lock_checkbox");
    layout->addWidget(httpLock_);
    layout->addWidget(TranslatedLabel("dialog.http_lock_hint", "HintLabel", page));
    httpWarning_ = TranslatedLabel("dialog.http_unencrypted_warning", "DangerHintLabel", page);
    layout->addWidget(httpWarning_);
    layout->addStretch(1);

    connect(browse, &QPushButton::clicked, this, &SettingsDialog::BrowseTargetFolder);
    connect(targetFolder_, &QLineEdit::textChanged, this, &SettingsDialog::RefreshWarnings);
    connect(httpLock_, &QCheckBox::toggled, this, &SettingsDialog::RefreshWarnings);
    return page;
}

QWidget* SettingsDialog::BuildAutostartTab() {
    QWidget* page = MakePage("SettingsAutostartTab", "dialog.tab_autostart");
    QVBoxLayout* layout = PageLayout(page);
    layout->addWidget(TranslatedLabel("section.autostart", "SectionTitle", page));
    autostart_ = new QCheckBox(page);
    autostart_->setObjectName(QStringLiteral("SettingsAutostartCheck"));
    Translate(autostart_, "dialog.autostart_checkbox");
    layout->addWidget(autostart_);
    layout->addWidget(TranslatedLabel("dialog.autostart_hint", "HintLabel", page));
    auto* row = new QHBoxLayout;
    row->addWidget(TranslatedLabel("dialog.autostart_mode_label", nullptr, page));
    autostartMode_ = new QComboBox(page);
    autostartMode_->setObjectName(QStringLiteral("SettingsAutostartModeCombo"));
    autostartMode_->addItem(QString(), 0);
    autostartMode_->addItem(QString(), 1);
    row->addWidget(autostartMode_, 1);
    layout->addLayout(row);
    layout->addStretch(1);
    connect(autostart_, &QCheckBox::toggled, autostartMode_, &QComboBox::setEnabled);
    return page;
}

QWidget* SettingsDialog::BuildLegalTab(const char* objectName, const char* licenseLanguage) {
    QWidget* page = MakePage(objectName, nullptr);
    QVBoxLayout* layout = PageLayout(page);
    LegalTab tab{page, new QLabel(page), new QLabel(page), new QPlainTextEdit(page),
                 licenseLanguage};
    tab.title->setObjectName(QStringLiteral("SectionTitle"));
    tab.hint->setObjectName(QStringLiteral("HintLabel"));
    tab.hint->setWordWrap(true);
    tab.text->setReadOnly(true);
    layout->addWidget(tab.title);
    layout->addWidget(tab.hint);
    layout->addWidget(tab.text, 1);
    legalTabs_.push_back(tab);
    return page;
}

QWidget* SettingsDialog::BuildNoticeTab() {
    return BuildLegalTab("SettingsLegalTabQt", nullptr);
}

void SettingsDialog::Fill(const SettingsDialogValues& values) {
    const int language =
        languageCombo_->findData(QString::fromStdString(CurrentLanguage()), Qt::UserRole);
    languageCombo_->setCurrentIndex(language >= 0 ? language : 0);
    connect(languageCombo_, &QComboBox::currentIndexChanged, this,
            &SettingsDialog::OnLanguageChosen);

    RefillServerList(-1);
    targetFolder_->setText(QDir::toNativeSeparators(values.targetPath.trimmed()));
    targetValidation_->setChecked(values.targetValidationEnabled);
    httpLock_->setChecked(values.httpLockEnabled);
    autostart_->setChecked(values.autostartEnabled);
    autostartMode_->setEnabled(values.autostartEnabled);
    autostartMode_->setCurrentIndex(values.autostartMode == AutostartMode::window ? 0 : 1);
    autoSync_->setChecked(values.autoSyncEnabled);
    // Connected after filling: only the player's own switching off deserves the warning box.
    connect(targetValidation_, &QCheckBox::toggled, this, [this](bool checked) {
        RefreshWarnings();
        if (!checked) {
            Warn("title.target_folder", Text("dialog.target_validation_disabled_message"));
        }
    });
    RefreshWarnings();
}

void SettingsDialog::Retranslate() {
    setWindowTitle(Text("dialog.server_settings_title"));
    for (const TranslatedText& text : texts_) {
        if (text.target == nullptr) {
            continue;
        }
        const QString translated = Text(text.key);
        if (auto* label = qobject_cast<QLabel*>(text.target)) {
            label->setText(translated);
        } else if (auto* button = qobject_cast<QAbstractButton*>(text.target)) {
            button->setText(translated);
        } else if (auto* edit = qobject_cast<QLineEdit*>(text.target)) {
            edit->setPlaceholderText(translated);
        }
    }
    for (int i = 0; i < tabs_->count(); ++i) {
        const QString key = tabs_->widget(i)->property("titleKey").toString();
        if (!key.isEmpty()) {
            tabs_->setTabText(i, Text(key.toLatin1().constData()));
        }
    }
    autostartMode_->setItemText(0, Text("dialog.autostart_mode_window"));
    autostartMode_->setItemText(1, Text("dialog.autostart_mode_tray"));
    addButton_->setText(
        Text(serverList_->selectedItems().empty() ? "button.add" : "button.update"));
    RetranslateLegalTabs();
    UpdateAutoSyncCount();
}

void SettingsDialog::RetranslateLegalTabs() {
    const std::string current = CurrentLanguage();
    for (const LegalTab& tab : legalTabs_) {
        tab.hint->setText(LegalText(current, &LegalTexts::hint));
        if (tab.licenseLanguage != nullptr) {
            tab.title->setText(LegalText(tab.licenseLanguage, &LegalTexts::licenseTabTitle));
            tab.text->setPlainText(LegalText(tab.licenseLanguage, &LegalTexts::licenseText));
            continue;
        }
        const QString title = LegalText(current, &LegalTexts::noticeTabTitle);
        tab.title->setText(title);
        tab.text->setPlainText(LegalText(current, &LegalTexts::noticeText));
        tabs_->setTabText(tabs_->indexOf(tab.page), title);
    }
}

void SettingsDialog::OnLanguageChosen(int index) {
    const QString code = languageCombo_->itemData(index, Qt::UserRole).toString();
    if (code.isEmpty() || code.toStdString() == CurrentLanguage()) {
        return;
    }
    if (!SetLanguage(code.toStdString())) {
        // The pack could not be loaded: the chooser goes back to the language in use.
        const QSignalBlocker blocker(languageCombo_);
        languageCombo_->setCurrentIndex(
            languageCombo_->findData(QString::fromStdString(CurrentLanguage())));
        return;
    }
    Retranslate();
    emit LanguageSwitched(QString::fromStdString(CurrentLanguage()));
}

void SettingsDialog::BrowseTargetFolder() {
    QFileDialog chooser(this, Text("dialog.choose_target_folder"), targetFolder_->text());
    chooser.setFileMode(QFileDialog::Directory);
    chooser.setOptions(QFileDialog::ShowDirsOnly | QFileDialog::DontUseNativeDialog);
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty()) {
        return;
    }
    targetFolder_->setText(QDir::toNativeSeparators(chooser.selectedFiles().constFirst()));
}

void SettingsDialog::RefreshWarnings() {
    const QString folder = QDir::toNativeSeparators(targetFolder_->text().trimmed());
    const bool validation = targetValidation_->isChecked();
    validationOffWarning_->setVisible(!validation);
    folderWarning_->setVisible(validation && !folder.isEmpty() &&
                               !IsUsableTargetFolder(folder.toStdWString(), true));
    httpWarning_->setVisible(!httpLock_->isChecked());
    autoSyncFolderWarning_->setVisible(autoSync_->isChecked() &&
                                       !IsUsableTargetFolder(folder.toStdWString(), validation));
}

SettingsDialogValues SettingsDialog::Values() const {
    SettingsDialogValues values;
    values.servers = servers_;
    values.targetPath = QDir::toNativeSeparators(targetFolder_->text().trimmed());
    values.targetValidationEnabled = targetValidation_->isChecked();
    values.httpLockEnabled = httpLock_->isChecked();
    values.autostartEnabled = autostart_->isChecked();
    values.autostartMode =
        autostartMode_->currentData().toInt() == 0 ? AutostartMode::window : AutostartMode::tray;
    values.autoSyncEnabled = autoSync_->isChecked();
    values.autoSyncProjects = TickedAutoSyncProjects();
    return values;
}

void SettingsDialog::ShowTab(const QString& objectName) {
    for (int i = 0; i < tabs_->count(); ++i) {
        if (tabs_->widget(i)->objectName() == objectName) {
            tabs_->setCurrentIndex(i);
            return;
        }
    }
}

void SettingsDialog::TryAccept() {
    if (probing_) {
        return;
    }
    const QStringList ticked = TickedAutoSyncProjects();
    if (autoSync_->isChecked() && ticked.isEmpty()) {
        ShowTab(QStringLiteral("SettingsAutoSyncTab"));
        Warn("title.projects", Text("warn.select_at_least_one_project"));
        return;
    }
    const bool tray = autostartMode_->currentData().toInt() != 0;
    QString error;
    if (!SetAutostart(autostart_->isChecked(), tray ? AutostartMode::tray : AutostartMode::window,
                      error)) {
        ShowTab(QStringLiteral("SettingsAutostartTab"));
        QMessageBox box(QMessageBox::Critical, Text("section.autostart"), error, QMessageBox::Ok,
                        this, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.exec();
        return;
    }
    setProperty("selectedAutoSyncProjects", ticked);
    setProperty("selectedAutostartMode", tray);
    accept();
}

void SettingsDialog::reject() {
    if (probing_) {
        return;  // the probe's answer is awaited; the dialog stays until it is in
    }
    QDialog::reject();
}

void SettingsDialog::Warn(const char* titleKey, const QString& text) {
    QMessageBox box(QMessageBox::Warning, Text(titleKey), text, QMessageBox::Ok, this,
                    Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.exec();
}

}  // namespace tavrin
