#include "ui_sandbox.h"

#include <QDir>
#include <QFile>
#include <QtTest>

namespace tavrin::test {

namespace {

void WriteFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(path));
    file.write(bytes);
}

}  // namespace

UiSandbox::UiSandbox() {
    QDir(dir_.path()).mkpath(QStringLiteral("data"));
    QDir(dir_.path()).mkpath(QStringLiteral("config"));
    QDir(dir_.path()).mkpath(QStringLiteral("share"));
    qputenv("TAVRIN_DATA_DIR", DataFolder().toUtf8());
    qputenv("HOME", dir_.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (dir_.path() + QStringLiteral("/config")).toUtf8());
    qputenv("XDG_DATA_HOME", (dir_.path() + QStringLiteral("/share")).toUtf8());
}

UiSandbox::~UiSandbox() {
    qunsetenv("TAVRIN_DATA_DIR");
}

QString UiSandbox::MakeGameFolder() const {
    const QString game = dir_.path() + QStringLiteral("/game");
    QDir().mkpath(game + QStringLiteral("/content"));
    WriteFile(game + QStringLiteral("/AssettoCorsa.exe"), "MZ");
    return game;
}

void UiSandbox::WriteSettings(const QByteArray& text) const {
    WriteFile(SettingsFile(), text);
}

QByteArray UiSandbox::ReadSettings() const {
    QFile file(SettingsFile());
    // Windows' INI text ends its lines with CR LF; the tests compare lines.
    return file.open(QIODevice::ReadOnly) ? file.readAll().replace("\r\n", "\n") : QByteArray();
}

}  // namespace tavrin::test
