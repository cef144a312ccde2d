#pragma once

#include <QDialog>
#include <QHash>
#include <QString>
#include <vector>

#include "settings/project_entry.h"
#include "settings/settings_merge.h"

class QPushButton;
class QTabWidget;

namespace tavrin {

class AutoSyncPage;
class AutostartPage;
class GeneralPage;
class LanguagePage;
class LegalPage;
class ServerPage;
class SettingsPage;

// The modal dialog in which the player edits every setting, one page per tab. It works on a
// copy of the values; nothing reaches the window before OK, except a language switch, which
// applies at once.
class SettingsDialog final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SettingsDialog)
public:
    // `projects`: the project lists the window holds, for the auto-sync tree.
    SettingsDialog(const SettingsDialogValues& values, const std::vector<ProjectEntry>& projects,
                   QWidget* parent);

    // The controls' current state and the edited server list.
    SettingsDialogValues Values() const;
    // Addresses changed by an update, old (lower case) to new: what was kept under the old
    // address (ticks, passwords) moves to the new one.
    const QHash<QString, QString>& ChangedUrls() const;
    // Brings the tab with this object name to the front.
    void ShowTab(const QString& objectName);
    bool IsProbing() const;
    // Cancel and closing wait while a probe is under way.
    void reject() override;

signals:
    // The language was switched while the dialog was open; the window retranslates.
    void LanguageSwitched(const QString& code);

private:
    void AddPages(const std::vector<ProjectEntry>& projects);
    void ConnectPages();
    void Retranslate();
    void HoldStill(bool probing);
    void TryAccept();

    std::vector<SettingsPage*> pages_;
    LanguagePage* languagePage_ = nullptr;
    ServerPage* serverPage_ = nullptr;
    GeneralPage* generalPage_ = nullptr;
    AutostartPage* autostartPage_ = nullptr;
    AutoSyncPage* autoSyncPage_ = nullptr;
    LegalPage* noticePage_ = nullptr;
    QTabWidget* tabs_ = nullptr;
    QPushButton* okButton_ = nullptr;
    QPushButton* cancelButton_ = nullptr;
};

}  // namespace tavrin
