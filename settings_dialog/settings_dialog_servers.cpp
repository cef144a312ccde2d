// The server tab of the settings dialog: the working copy of the server list, adding and
// updating with a probe for the scheme of a bare host, removing after a question.
#include <QCheckBox>
#include <QEventLoop>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPushButton>
#include <QTabWidget>
#include <atomic>
#include <thread>

#include "i18n/placeholders.h"
#include "net/server_endpoint.h"
#include "net/server_probe.h"
#include "settings_dialog/settings_dialog.h"
#include "widgets/ui_text.h"

namespace tavrin {

void SettingsDialog::RefillServerList(int selectRow) {
    const QSignalBlocker blocker(serverList_);
    serverList_->clear();
    for (const ServerEntry& server : servers_) {
        auto* item = new QListWidgetItem(server.name + QStringLiteral("  —  ") + server.url);
        item->setToolTip(server.url);
        serverList_->addItem(item);
    }
    if (selectRow >= 0 && selectRow < serverList_->count()) {
        serverList_->setCurrentRow(selectRow);
    } else {
        serverList_->setCurrentRow(-1);
        serverList_->clearSelection();
    }
    OnServerRowChanged();
    // The auto-sync tree follows: projects of a removed server go, ticks stay.
    FillAutoSyncTree(projects_, TickedAutoSyncProjects());
    RefreshWarnings();
}

int SettingsDialog::RowOfUrl(const QString& url) const {
    for (std::size_t i = 0; i < servers_.size(); ++i) {
        if (servers_[i].url.trimmed().compare(url, Qt::CaseInsensitive) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void SettingsDialog::OnServerRowChanged() {
    const QList<QListWidgetItem*> selected = serverList_->selectedItems();
    const int row = selected.isEmpty() ? -1 : serverList_->row(selected.constFirst());
    if (row >= 0 && row < static_cast<int>(servers_.size())) {
        serverName_->setText(servers_[static_cast<std::size_t>(row)].name);
        serverUrl_->setText(servers_[static_cast<std::size_t>(row)].url);
    }
    addButton_->setText(Text(row >= 0 ? "button.update" : "button.add"));
    removeButton_->setEnabled(row >= 0);
}

// A press on the list's empty space drops the selection, so that the next entry is added
// rather than written over the one selected last.
bool SettingsDialog::eventFilter(QObject* watched, QEvent* event) {
    if (serverList_ != nullptr && watched == serverList_->viewport() &&
        event->type() == QEvent::MouseButtonPress) {
        const auto* press = static_cast<QMouseEvent*>(event);
        if (serverList_->itemAt(press->position().toPoint()) == nullptr) {
            serverList_->clearSelection();
            serverList_->setCurrentRow(-1);
        }
    }
    return QDialog::eventFilter(watched, event);
}

void SettingsDialog::AddOrUpdateServer() {
    if (probing_) {
        return;
    }
    const QString name = serverName_->text().trimmed();
    const QString typed = serverUrl_->text().trimmed();
    if (name.isEmpty() || typed.isEmpty()) {
        Warn("title.server", Text("warn.server_name_url_required"));
        return;
    }
    QString url = typed;
    if (!typed.contains(QStringLiteral("://")) && !ResolveScheme(typed, url)) {
        return;
    }
    std::wstring canonical;
    std::wstring error;
    if (!NormalizeServerUrl(url.toStdWString(), !httpLock_->isChecked(), canonical, error)) {
        Warn("title.server", QString::fromStdWString(error));
        return;
    }
    const ServerEntry entry{name, QString::fromStdWString(canonical)};
    const QList<QListWidgetItem*> selected = serverList_->selectedItems();
    int row = selected.isEmpty() ? -1 : serverList_->row(selected.constFirst());
    // An address that is listed already is that row's: one server is never listed twice.
    const int listed = RowOfUrl(entry.url);
    if (listed >= 0 && listed != row) {
        if (row >= 0) {
            servers_.erase(servers_.begin() + row);
            row = listed > row ? listed - 1 : listed;
        } else {
            row = listed;
        }
    }
    if (row >= 0 && row < static_cast<int>(servers_.size())) {
        ServerEntry& edited = servers_[static_cast<std::size_t>(row)];
        const QString oldUrl = edited.url.trimmed().toLower();
        if (oldUrl != entry.url.toLower()) {
            changedUrls_.insert(oldUrl, entry.url);
        }
        edited = entry;
    } else {
        servers_.push_back(entry);
        row = static_cast<int>(servers_.size()) - 1;
    }
    RefillServerList(row);
}

// For an address typed without a scheme: HTTPS when the host answers there, plain HTTP when
// only that answers and the lock allows it; otherwise the address stays as typed. False when
// the lock stands in the way, after saying so.
bool SettingsDialog::ResolveScheme(const QString& typed, QString& url) {
    bool interrupted = false;
    const QString secure = QStringLiteral("https://") + typed;
    if (ProbeWithoutBlocking(secure, interrupted)) {
        url = secure;
        return true;
    }
    const QString plain = QStringLiteral("http://") + typed;
    const bool plainAnswered = !interrupted && ProbeWithoutBlocking(plain, interrupted);
    if (interrupted) {
        return false;  // the program is closing
    }
    if (!plainAnswered) {
        url = typed;
        return true;
    }
    if (httpLock_->isChecked()) {
        Warn("title.server",
             QString::fromStdWString(FillPlaceholders(TrWide("warn.http_lock_disable_required"),
                                                      {typed.toStdWString()})));
        return false;
    }
    url = plain;
    return true;
}

// The probe waits up to seconds for a silent host; it runs on a thread of its own while the
// dialog keeps painting, with its controls disabled and a busy cursor. `interrupted` tells
// that the loop was ended from outside (the program quitting) before the probe was done.
bool SettingsDialog::ProbeWithoutBlocking(const QString& url, bool& interrupted) {
    probing_ = true;
    tabs_->setEnabled(false);
    okButton_->setEnabled(false);
    cancelButton_->setEnabled(false);
    setCursor(Qt::WaitCursor);

    std::atomic<bool> answered{false};
    std::atomic<bool> finished{false};
    QEventLoop loop;
    std::thread worker([&answered, &finished, &loop, address = url.toStdWString()] {
        answered.store(ProbeServer(address));
        finished.store(true);
        QMetaObject::invokeMethod(&loop, "quit", Qt::QueuedConnection);
    });
    loop.exec();
    interrupted = !finished.load();
    worker.join();  // at most the probe's own waits

    unsetCursor();
    tabs_->setEnabled(true);
    okButton_->setEnabled(true);
    cancelButton_->setEnabled(true);
    probing_ = false;
    return answered.load();
}

void SettingsDialog::RemoveServer() {
    const QList<QListWidgetItem*> selected = serverList_->selectedItems();
    const int row = selected.isEmpty() ? -1 : serverList_->row(selected.constFirst());
    if (probing_ || row < 0 || row >= static_cast<int>(servers_.size())) {
        return;
    }
    const ServerEntry& entry = servers_[static_cast<std::size_t>(row)];
    const QString shown = entry.name.trimmed().isEmpty() ? entry.url : entry.name.trimmed();
    QMessageBox box(QMessageBox::Question, Text("title.server"),
                    QString::fromStdWString(FillPlaceholders(TrWide("warn.confirm_remove_server"),
                                                             {shown.toStdWString()})),
                    QMessageBox::Yes | QMessageBox::No, this,
                    Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.setDefaultButton(QMessageBox::No);
    if (box.exec() != QMessageBox::Yes) {
        return;
    }
    servers_.erase(servers_.begin() + row);
    serverName_->clear();
    serverUrl_->clear();
    RefillServerList(-1);
}

}  // namespace tavrin
