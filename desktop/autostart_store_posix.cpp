// Linux side: "tavrin.desktop" in the user's XDG autostart folder
// ($XDG_CONFIG_HOME/autostart, else ~/.config/autostart).
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

#include "app/desktop_entry.h"
#include "desktop/autostart.h"

namespace tavrin {

namespace {

QString AutostartFolder() {
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty() || !QDir::isAbsolutePath(config)) {
        config = QDir::homePath() + QStringLiteral("/.config");
    }
    return config + QStringLiteral("/autostart");
}

QString EntryPath() {
    return AutostartFolder() + QStringLiteral("/tavrin.desktop");
}

}  // namespace

const AutostartTextKeys& AutostartTexts() {
    static constexpr AutostartTextKeys kKeys{
        "dialog.autostart_checkbox_linux", "dialog.autostart_hint_linux",
        "error.autostart_entry_write_failed", "error.autostart_entry_verify_enable_failed",
        "error.autostart_entry_verify_disable_failed"};
    return kKeys;
}

QString ReadAutostartValue() {
    QFile file(EntryPath());
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray text = file.readAll();
    return QString::fromStdString(DesktopEntryExec(
        std::string_view(text.constData(), static_cast<std::size_t>(text.size()))));
}

bool WriteAutostartValue(const QString& command) {
    if (!QDir().mkpath(AutostartFolder())) {
        return false;
    }
    QSaveFile file(EntryPath());
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    const std::string text = AutostartDesktopEntry("Tavrin", command.toStdString());
    file.write(text.data(), static_cast<qint64>(text.size()));
    return file.commit();
}

bool RemoveAutostartValue() {
    QFile file(EntryPath());
    return !file.exists() || file.remove();
}

}  // namespace tavrin
