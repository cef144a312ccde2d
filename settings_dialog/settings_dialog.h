#pragma once

#include <QDialog>
#include <QHash>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <vector>

#include "settings/project_entry.h"
#include "settings/settings_merge.h"
#include "settings/settings_record.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;
class QVBoxLayout;

namespace tavrin {

// The modal dialog in which the player edits every setting. It works on a copy of the server
// list; nothing reaches the window before OK, except a language switch, which applies at once.
class SettingsDialog : public QDialog {
    Q_OBJECT
public:
    // `projects`: the project lists the window holds, for the auto-sync tree.
    SettingsDialog(const SettingsDialogValues& values, const std::vector<ProjectEntry>& projects,
                   QWidget* parent);

    // The controls' current state and the edited server list.
    SettingsDialogValues Values() const;
    // Addresses changed by an update, old (lower case) to new: what was kept under the old
    // address (ticks, passwords) moves to the new one.
    const QHash<QString, QString>& ChangedUrls() const { return changedUrls_; }
    // Brings the tab with this object name to the front.
    void ShowTab(const QString& objectName);
    bool IsProbing() const { return probing_; }
    // Cancel and closing wait while a probe is under way.
    void reject() override;

signals:
    // The language was switched while the dialog was open; the window retranslates.
    void LanguageSwitched(const QString& code);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct TranslatedText {
        QPointer<QObject> target;
        const char* key;
        bool placeholder;
    };
    // A tab page under its object name, styled by the sheet, with the key of its title.
    static QWidget* MakePage(const char* objectName, const char* titleKey);
    static QVBoxLayout* PageLayout(QWidget* page);
    QWidget* BuildLanguageTab();
    QWidget* BuildServerTab();
    QWidget* BuildGeneralTab();
    QWidget* BuildAutostartTab();
    QWidget* BuildAutoSyncTab();
    QWidget* BuildLegalTab(const char* objectName, const char* licenseLanguage);
    QWidget* BuildNoticeTab();
    void Fill(const SettingsDialogValues& values);
    QLabel* TranslatedLabel(const char* key, const char* objectName, QWidget* parent);
    void Translate(QObject* target, const char* key, bool placeholder = false);
    void Retranslate();
    void RetranslateLegalTabs();

    // The server tab.
    void AddOrUpdateServer();
    void RemoveServer();
    void RefillServerList(int selectRow);
    void OnServerRowChanged();
    bool ResolveScheme(const QString& typed, QString& url);
    int RowOfUrl(const QString& url) const;
    bool ProbeWithoutBlocking(const QString& url, bool& interrupted);

    // The general, auto-sync and language tabs.
    void BrowseTargetFolder();
    void RefreshWarnings();
    void FillAutoSyncTree(const std::vector<ProjectEntry>& projects, const QStringList& ticked);
    void SetAllAutoSyncTicks(bool ticked);
    QStringList TickedAutoSyncProjects() const;
    void UpdateAutoSyncCount();
    void OnLanguageChosen(int index);

    void TryAccept();
    void Warn(const char* titleKey, const QString& text);

    std::vector<ServerEntry> servers_;
    std::vector<ProjectEntry> projects_;
    QHash<QString, QString> changedUrls_;
    std::vector<TranslatedText> texts_;
    bool probing_ = false;

    QTabWidget* tabs_ = nullptr;
    QComboBox* languageCombo_ = nullptr;
    QListWidget* serverList_ = nullptr;
    QLineEdit* serverName_ = nullptr;
    QLineEdit* serverUrl_ = nullptr;
    QPushButton* addButton_ = nullptr;
    QPushButton* removeButton_ = nullptr;
    QLineEdit* targetFolder_ = nullptr;
    QCheckBox* targetValidation_ = nullptr;
    QLabel* validationOffWarning_ = nullptr;
    QLabel* folderWarning_ = nullptr;
    QCheckBox* httpLock_ = nullptr;
    QLabel* httpWarning_ = nullptr;
    QCheckBox* autostart_ = nullptr;
    QComboBox* autostartMode_ = nullptr;
    QCheckBox* autoSync_ = nullptr;
    QLabel* autoSyncFolderWarning_ = nullptr;
    QTreeWidget* autoSyncTree_ = nullptr;
    QLabel* autoSyncCount_ = nullptr;
    QPushButton* okButton_ = nullptr;
    QPushButton* cancelButton_ = nullptr;
    struct LegalTab {
        QWidget* page = nullptr;
        QLabel* title = nullptr;
        QLabel* hint = nullptr;
        QPlainTextEdit* text = nullptr;
        const char* licenseLanguage = nullptr;  // null for the toolkit notice
    };
    std::vector<LegalTab> legalTabs_;
};

}  // namespace tavrin
