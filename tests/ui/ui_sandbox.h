#pragma once

#include <QString>
#include <QTemporaryDir>

namespace tavrin::test {

// A throwaway home for one test: the program's data folder (TAVRIN_DATA_DIR), HOME and the
// XDG folders all point into it, so no test reads or writes the user's real files.
class UiSandbox {
public:
    UiSandbox();
    ~UiSandbox();
    UiSandbox(const UiSandbox&) = delete;
    UiSandbox& operator=(const UiSandbox&) = delete;

    QString Root() const { return dir_.path(); }
    QString DataFolder() const { return dir_.path() + QStringLiteral("/data"); }
    QString SettingsFile() const { return DataFolder() + QStringLiteral("/Tavrin.ini"); }
    QString AutostartEntry() const {
        return dir_.path() + QStringLiteral("/config/autostart/tavrin.desktop");
    }
    // A folder that passes the game-folder check.
    QString MakeGameFolder() const;
    // Writes the settings file as given.
    void WriteSettings(const QByteArray& text) const;
    // The settings file's text, with LF line ends on every system.
    QByteArray ReadSettings() const;

private:
    QTemporaryDir dir_;
};

}  // namespace tavrin::test
