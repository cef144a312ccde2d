// Windows side: the value "Tavrin" of the current user's Run key, through QSettings' native
// (registry) format.
#include <QSettings>

#include "desktop/autostart.h"

namespace tavrin {

namespace {

const QString kRunKey =
    QStringLiteral("HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run");
const QString kValueName = QStringLiteral("Tavrin");

}  // namespace

const AutostartTextKeys& AutostartTexts() {
    static constexpr AutostartTextKeys kKeys{"dialog.autostart_checkbox", "dialog.autostart_hint",
                                             "error.autostart_registry_write_failed",
                                             "error.autostart_registry_verify_enable_failed",
                                             "error.autostart_registry_verify_disable_failed"};
    return kKeys;
}

QString ReadAutostartValue() {
    const QSettings run(kRunKey, QSettings::NativeFormat);
    return run.value(kValueName).toString();
}

bool WriteAutostartValue(const QString& command) {
    QSettings run(kRunKey, QSettings::NativeFormat);
    run.setValue(kValueName, command);
    run.sync();
    return run.status() == QSettings::NoError;
}

bool RemoveAutostartValue() {
    QSettings run(kRunKey, QSettings::NativeFormat);
    run.remove(kValueName);
    run.sync();
    return run.status() == QSettings::NoError;
}

}  // namespace tavrin
