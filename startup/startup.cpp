#include "startup/startup.h"

#include <QApplication>
#include <QFileInfo>
#include <QSystemTrayIcon>
#include <memory>

#include "app/app_paths.h"
#include "app/native_window.h"
#include "desktop/single_instance.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "settings/settings_store.h"
#include "ui/tavrin_qt_window.h"

namespace tavrin {

namespace {

const QString kProductDomain = QStringLiteral("tavrin.app");

}  // namespace

QIcon ApplicationIcon() {
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/favicon.ico");
    for (const QString& candidate :
         {beside, QStringLiteral(":/assets/app.ico"), QCoreApplication::applicationFilePath()}) {
        if (!QFileInfo::exists(candidate)) {
            continue;
        }
        QIcon icon(candidate);
        if (!icon.isNull() && !icon.availableSizes().isEmpty()) {
            return icon;
        }
    }
    return {};
}

bool WantsHiddenStart(const QStringList& arguments) {
    return arguments.contains(QStringLiteral("--start-in-tray")) ||
           arguments.contains(QStringLiteral("--minimized-to-tray"));
}

// The toolkit's own guess for a missing family can be a serif face (as under Wine).
void InstallFontSubstitutes() {
    QFont::insertSubstitutions(QStringLiteral("Segoe UI"),
                               {QStringLiteral("Tahoma"), QStringLiteral("DejaVu Sans"),
                                QStringLiteral("Noto Sans"), QStringLiteral("Liberation Sans")});
    QFont::insertSubstitutions(QStringLiteral("Consolas"),
                               {QStringLiteral("DejaVu Sans Mono"),
                                QStringLiteral("Liberation Mono"), QStringLiteral("Courier New")});
}

int RunTavrin(int argc, char** argv) {
    QApplication application(argc, argv);
    QGuiApplication::setWindowIcon(ApplicationIcon());
    ShowMainWindowMessage = RegisterNamedMessage(kShowMainWindowMessageName);
    QCoreApplication::setApplicationName(QStringLiteral("Tavrin"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TAVRIN_VERSION));
    QCoreApplication::setOrganizationName(kProductDomain);
    QCoreApplication::setOrganizationDomain(kProductDomain);
    // Wayland matches windows to the menu's entry by this name (tavrin.desktop).
    QGuiApplication::setDesktopFileName(QStringLiteral("tavrin"));
    InstallFontSubstitutes();
    QFont font(QStringLiteral("Segoe UI"));
    font.setPointSizeF(10.0);
    QApplication::setFont(font);

    // Texts are translated before the first widget exists.
    SetLanguage(CurrentLanguageSetting(QString::fromStdWString(PathToWide(SettingsFilePath())))
                    .toStdString());

    SingleInstance instance;
    switch (instance.Claim()) {
        case InstanceClaim::failed:
            return 1;
        case InstanceClaim::secondary:
            return 0;
        case InstanceClaim::primary:
            break;
    }

    const bool hidden = WantsHiddenStart(QCoreApplication::arguments());
    auto window = std::make_unique<TavrinQtWindow>();
    QObject::connect(&instance, &SingleInstance::WakeRequested, window.get(),
                     &TavrinQtWindow::BringToFront);
    if (hidden && QSystemTrayIcon::isSystemTrayAvailable()) {
        // The native window must exist while hidden: it receives the wake-up and the tray's
        // re-creation message.
        window->winId();
        window->hide();
    } else {
        window->show();
    }
    const int code = QApplication::exec();
    window.reset();
    return code;
}

}  // namespace tavrin
