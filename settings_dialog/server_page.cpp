#include "settings_dialog/server_page.h"

#include <QEventLoop>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>
#include <atomic>
#include <thread>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "net/server_endpoint.h"
#include "net/server_probe.h"
#include "widgets/ui_text.h"

namespace tavrin {

ServerPage::ServerPage(std::function<bool()> httpLocked)
    : SettingsPage("SettingsServerTab", "dialog.tab_servers"), httpLocked_(std::move(httpLocked)) {
    Layout()->addWidget(TranslatedLabel("dialog.server_settings_help", "HintLabel"));
    Layout()->addWidget(TranslatedLabel("dialog.server_settings_steps", "HintLabel"));
    list_ = new QListWidget(this);
    list_->setObjectName(QStringLiteral("SettingsServerList"));
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->viewport()->installEventFilter(this);
    Layout()->addWidget(list_, 1);

    auto* fields = new QGridLayout;
    fields->setHorizontalSpacing(8);
    fields->addWidget(TranslatedLabel("dialog.label_name", nullptr), 0, 0);
    name_ = new QLineEdit(this);
    name_->setObjectName(QStringLiteral("SettingsServerNameEdit"));
    Translate(name_, "dialog.server_name_placeholder");
    fields->addWidget(name_, 0, 1);
    fields->addWidget(TranslatedLabel("dialog.label_url", nullptr), 1, 0);
    url_ = new QLineEdit(this);
    url_->setObjectName(QStringLiteral("SettingsServerUrlEdit"));
    Translate(url_, "dialog.server_url_placeholder");
    fields->addWidget(url_, 1, 1);
    Layout()->addLayout(fields);

    auto* buttons = new QHBoxLayout;
    addButton_ = new QPushButton(this);
    addButton_->setObjectName(QStringLiteral("SettingsAddServerButton"));
    removeButton_ = new QPushButton(this);
    removeButton_->setObjectName(QStringLiteral("GhostButton"));
    Translate(removeButton_, "button.remove");
    buttons->addStretch(1);
    buttons->addWidget(addButton_);
    buttons->addWidget(removeButton_);
    Layout()->addLayout(buttons);

    connect(addButton_, &QPushButton::clicked, this, &ServerPage::AddOrUpdate);
    connect(removeButton_, &QPushButton::clicked, this, &ServerPage::Remove);
    connect(list_, &QListWidget::itemSelectionChanged, this, &ServerPage::OnRowChanged);
}

void ServerPage::Fill(const SettingsDialogValues& values) {
    servers_ = values.servers;
    Refill(-1);
}

void ServerPage::Collect(SettingsDialogValues& values) const {
    values.servers = servers_;
}

void ServerPage::Retranslate() {
    SettingsPage::Retranslate();
    addButton_->setText(Text(list_->selectedItems().empty() ? "button.add" : "button.update"));
}

void ServerPage::Refill(int selectRow) {
    const QSignalBlocker blocker(list_);
    list_->clear();
    for (const ServerEntry& server : servers_) {
        auto* item = new QListWidgetItem(server.name + QStringLiteral("  —  ") + server.url);
        item->setToolTip(server.url);
        list_->addItem(item);
    }
    if (selectRow >= 0 && selectRow < list_->count()) {
        list_->setCurrentRow(selectRow);
    } else {
        list_->setCurrentRow(-1);
        list_->clearSelection();
    }
    OnRowChanged();
    emit ServersChanged();
}

int ServerPage::SelectedRow() const {
    const QList<QListWidgetItem*> selected = list_->selectedItems();
    return selected.isEmpty() ? -1 : list_->row(selected.constFirst());
}

int ServerPage::RowOfUrl(const QString& url) const {
    for (std::size_t i = 0; i < servers_.size(); ++i) {
        if (servers_[i].url.trimmed().compare(url, Qt::CaseInsensitive) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void ServerPage::OnRowChanged() {
    const int row = SelectedRow();
    if (row >= 0 && row < static_cast<int>(servers_.size())) {
        name_->setText(servers_[static_cast<std::size_t>(row)].name);
        url_->setText(servers_[static_cast<std::size_t>(row)].url);
    }
    addButton_->setText(Text(row >= 0 ? "button.update" : "button.add"));
    removeButton_->setEnabled(row >= 0);
}

// A press on the list's empty space drops the selection, so that the next entry is added
// rather than written over the one selected last.
bool ServerPage::eventFilter(QObject* watched, QEvent* event) {
    if (watched == list_->viewport() && event->type() == QEvent::MouseButtonPress) {
        const auto* press = static_cast<QMouseEvent*>(event);
        if (list_->itemAt(press->position().toPoint()) == nullptr) {
            list_->clearSelection();
            list_->setCurrentRow(-1);
        }
    }
    return SettingsPage::eventFilter(watched, event);
}

void ServerPage::AddOrUpdate() {
    if (probing_) {
        return;
    }
    const QString name = name_->text().trimmed();
    const QString typed = url_->text().trimmed();
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
    if (!NormalizeServerUrl(url.toStdWString(), !httpLocked_(), canonical, error)) {
        Warn("title.server", QString::fromStdWString(error));
        return;
    }
    Refill(PlaceEntry({name, QString::fromStdWString(canonical)}, SelectedRow()));
}

// Writes the entry over the selected row, or adds it; returns its row. An address that is
// listed already is that row's: one server is never listed twice.
int ServerPage::PlaceEntry(const ServerEntry& entry, int row) {
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
        return row;
    }
    servers_.push_back(entry);
    return static_cast<int>(servers_.size()) - 1;
}

// For an address typed without a scheme: HTTPS when the host answers there, plain HTTP when
// only that answers and the lock allows it; otherwise the address stays as typed. False when
// the lock stands in the way, after saying so.
bool ServerPage::ResolveScheme(const QString& typed, QString& url) {
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
    if (httpLocked_()) {
        Warn("title.server",
             QString::fromStdWString(FillPlaceholders(TrWide("warn.http_lock_disable_required"),
                                                      {typed.toStdWString()})));
        return false;
    }
    url = plain;
    return true;
}

// The probe waits up to seconds for a silent host; it runs on a thread of its own while the
// dialog keeps painting, holding still with a busy cursor. `interrupted` tells that the loop
// was ended from outside (the program quitting) before the probe was done.
bool ServerPage::ProbeWithoutBlocking(const QString& url, bool& interrupted) {
    probing_ = true;
    emit ProbingChanged(true);
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
    probing_ = false;
    emit ProbingChanged(false);
    return answered.load();
}

void ServerPage::Remove() {
    const int row = SelectedRow();
    if (probing_ || row < 0 || row >= static_cast<int>(servers_.size())) {
        return;
    }
    const ServerEntry& entry = servers_[static_cast<std::size_t>(row)];
    const QString shown = entry.name.trimmed().isEmpty() ? entry.url : entry.name.trimmed();
    QMessageBox box(QMessageBox::Question, Text("title.server"),
                    QString::fromStdWString(FillPlaceholders(TrWide("warn.confirm_remove_server"),
                                                             {shown.toStdWString()})),
                    QMessageBox::Yes | QMessageBox::No, window(),
                    Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.setDefaultButton(QMessageBox::No);
    if (box.exec() != QMessageBox::Yes) {
        return;
    }
    servers_.erase(servers_.begin() + row);
    name_->clear();
    url_->clear();
    Refill(-1);
}

}  // namespace tavrin
