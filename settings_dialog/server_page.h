#pragma once

#include <QHash>
#include <functional>
#include <vector>

#include "settings_dialog/settings_page.h"

class QLineEdit;
class QListWidget;
class QPushButton;

namespace tavrin {

// The server tab: a working copy of the server list, adding and updating with a probe for the
// scheme of a bare host, removing after a question. Nothing reaches the settings before the
// dialog is accepted.
class ServerPage final : public SettingsPage {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ServerPage)
public:
    // `httpLocked`: whether the general tab keeps unencrypted HTTP locked right now.
    explicit ServerPage(std::function<bool()> httpLocked);

    void Fill(const SettingsDialogValues& values) override;
    void Collect(SettingsDialogValues& values) const override;
    void Retranslate() override;
    const std::vector<ServerEntry>& Servers() const { return servers_; }
    // Addresses changed by an update, old (lower case) to new: what was kept under the old
    // address (ticks, passwords) moves to the new one.
    const QHash<QString, QString>& ChangedUrls() const { return changedUrls_; }
    bool IsProbing() const { return probing_; }

signals:
    void ServersChanged();
    // A probe started or ended: the dialog holds still while it waits.
    void ProbingChanged(bool probing);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void AddOrUpdate();
    void Remove();
    void Refill(int selectRow);
    void OnRowChanged();
    int SelectedRow() const;
    int RowOfUrl(const QString& url) const;
    int PlaceEntry(const ServerEntry& entry, int row);
    bool ResolveScheme(const QString& typed, QString& url);
    bool ProbeWithoutBlocking(const QString& url, bool& interrupted);

    std::function<bool()> httpLocked_;
    std::vector<ServerEntry> servers_;
    QHash<QString, QString> changedUrls_;
    bool probing_ = false;
    QListWidget* list_ = nullptr;
    QLineEdit* name_ = nullptr;
    QLineEdit* url_ = nullptr;
    QPushButton* addButton_ = nullptr;
    QPushButton* removeButton_ = nullptr;
};

}  // namespace tavrin
