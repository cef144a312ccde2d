#include "settings_dialog/settings_dialog.h"

#include <QHBoxLayout>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include "desktop/autostart.h"
#include "settings_dialog/auto_sync_page.h"
#include "settings_dialog/autostart_page.h"
#include "settings_dialog/general_page.h"
#include "settings_dialog/language_page.h"
#include "settings_dialog/legal_page.h"
#include "settings_dialog/server_page.h"
#include "widgets/ui_text.h"

namespace tavrin {

namespace {

constexpr int kDialogWidth = 800;
constexpr int kDialogHeight = 560;

}  // namespace

SettingsDialog::SettingsDialog(const SettingsDialogValues& values,
                               const std::vector<ProjectEntry>& projects, QWidget* parent)
    : QDialog(parent) {
    setObjectName(QStringLiteral("SettingsDialog"));
    setModal(true);
    resize(kDialogWidth, kDialogHeight);
    tabs_ = new QTabWidget(this);
    tabs_->setObjectName(QStringLiteral("SettingsTabs"));
    AddPages(projects);

    okButton_ = new QPushButton(this);
    okButton_->setObjectName(QStringLiteral("PrimaryButton"));
    okButton_->setDefault(true);
    cancelButton_ = new QPushButton(this);
    cancelButton_->setObjectName(QStringLiteral("SecondaryButton"));
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

    for (SettingsPage* page : pages_) {
        page->Fill(values);
    }
    ConnectPages();
    Retranslate();
}

void SettingsDialog::AddPages(const std::vector<ProjectEntry>& projects) {
    languagePage_ = new LanguagePage;
    generalPage_ = new GeneralPage;
    serverPage_ = new ServerPage([this] { return generalPage_->HttpLocked(); });
    autostartPage_ = new AutostartPage;
    autoSyncPage_ = new AutoSyncPage(projects, [this] { return generalPage_->TargetUsable(); });
    noticePage_ = new LegalPage("SettingsLegalTabQt", nullptr);
    pages_ = {languagePage_,
              serverPage_,
              generalPage_,
              autostartPage_,
              autoSyncPage_,
              new LegalPage("SettingsLegalTabDe", "de"),
              new LegalPage("SettingsLegalTabEn", "en"),
              noticePage_};
    for (SettingsPage* page : pages_) {
        tabs_->addTab(page, QString());
    }
    tabs_->setTabText(5, QStringLiteral("Deutsch"));
    tabs_->setTabText(6, QStringLiteral("English"));
}

// The pages' ties: the servers feed the auto-sync tree, the game folder its warning, and a
// probe holds the whole dialog still.
void SettingsDialog::ConnectPages() {
    connect(serverPage_, &ServerPage::ServersChanged, this, [this] {
        autoSyncPage_->ShowServers(serverPage_->Servers(), serverPage_->ChangedUrls());
    });
    connect(serverPage_, &ServerPage::ProbingChanged, this, &SettingsDialog::HoldStill);
    connect(generalPage_, &GeneralPage::Changed, autoSyncPage_, &AutoSyncPage::RefreshWarning);
    connect(languagePage_, &LanguagePage::LanguageSwitched, this, [this](const QString& code) {
        Retranslate();
        emit LanguageSwitched(code);
    });
}

void SettingsDialog::Retranslate() {
    setWindowTitle(Text("dialog.server_settings_title"));
    okButton_->setText(Text("button.ok"));
    cancelButton_->setText(Text("button.cancel"));
    for (std::size_t i = 0; i < pages_.size(); ++i) {
        pages_[i]->Retranslate();
        const QString title = pages_[i]->Title();
        if (!title.isEmpty()) {
            tabs_->setTabText(static_cast<int>(i), title);
        }
    }
    tabs_->setTabText(tabs_->indexOf(noticePage_), noticePage_->NoticeTitle());
}

void SettingsDialog::HoldStill(bool probing) {
    if (probing) {
        tabs_->setEnabled(false);
        okButton_->setEnabled(false);
        cancelButton_->setEnabled(false);
        setCursor(Qt::WaitCursor);
        return;
    }
    unsetCursor();
    tabs_->setEnabled(true);
    okButton_->setEnabled(true);
    cancelButton_->setEnabled(true);
}

SettingsDialogValues SettingsDialog::Values() const {
    SettingsDialogValues values;
    for (const SettingsPage* page : pages_) {
        page->Collect(values);
    }
    return values;
}

const QHash<QString, QString>& SettingsDialog::ChangedUrls() const {
    return serverPage_->ChangedUrls();
}

bool SettingsDialog::IsProbing() const {
    return serverPage_->IsProbing();
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
    if (IsProbing()) {
        return;
    }
    const SettingsDialogValues values = Values();
    if (values.autoSyncEnabled && values.autoSyncProjects.isEmpty()) {
        ShowTab(QStringLiteral("SettingsAutoSyncTab"));
        QMessageBox box(QMessageBox::Warning, Text("title.projects"),
                        Text("warn.select_at_least_one_project"), QMessageBox::Ok, this,
                        Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.exec();
        return;
    }
    QString error;
    if (!SetAutostart(values.autostartEnabled, values.autostartMode, error)) {
        ShowTab(QStringLiteral("SettingsAutostartTab"));
        QMessageBox box(QMessageBox::Critical, Text("section.autostart"), error, QMessageBox::Ok,
                        this, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.exec();
        return;
    }
    setProperty("selectedAutoSyncProjects", values.autoSyncProjects);
    setProperty("selectedAutostartMode", values.autostartMode == AutostartMode::tray);
    accept();
}

void SettingsDialog::reject() {
    if (IsProbing()) {
        return;  // the probe's answer is awaited; the dialog stays until it is in
    }
    QDialog::reject();
}

}  // namespace tavrin
