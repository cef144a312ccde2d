#include "window_settings.h"

#include <QByteArrayList>
#include <QDir>
#include <QFile>
#include <QTextEdit>

#include "ui/tavrin_qt_window.h"

namespace tavrin::test {

QByteArray UrlOf(ContentServer& server) {
    return QString::fromStdWString(server.Url()).toUtf8();
}

QByteArray WindowSettings(const QString& game, const QList<NamedServer>& servers,
                          const QByteArray& ticked, const QByteArray& general,
                          const QByteArray& groups) {
    QByteArrayList urls;
    for (const NamedServer& server : servers) {
        urls << (server.content != nullptr ? UrlOf(*server.content) : server.url);
    }
    // The HTTP lock is off: the servers here speak plain HTTP.
    QByteArray text = "[General]\nhttp_lock_enabled=false\ntarget_path=" + game.toUtf8() +
                      "\nselected_domains=\"" + urls.join(" | ") +
                      "\"\nselected_projects=" + ticked + "\n" + general +
                      "[Domains]\ncount=" + QByteArray::number(servers.size()) + "\n";
    for (int i = 0; i < servers.size(); ++i) {
        text += "domain_" + QByteArray::number(i) + "_name=" + servers[i].name + "\n";
        text += "domain_" + QByteArray::number(i) + "_url=" + urls[i] + "\n";
    }
    return text + groups;
}

QString LogText(const TavrinQtWindow& window) {
    return window.findChild<QTextEdit*>(QStringLiteral("LogView"))->toPlainText();
}

QByteArray FileAt(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

TickedCars::TickedCars(const QByteArray& general)
    : game(sandbox.Root() + QStringLiteral("/Assetto Corsa")) {
    MakeGameFolderAt(game);
    server.AddFile("Cars", "a.txt", "first");
    server.SetChangeRevision(1);
    sandbox.WriteSettings(
        WindowSettings(game, {{"Club", &server}}, UrlOf(server).toLower() + "|Cars", general));
}

void MakeGameFolderAt(const QString& path) {
    QDir().mkpath(path + QStringLiteral("/content"));
    QFile exe(path + QStringLiteral("/AssettoCorsa.exe"));
    exe.open(QIODevice::WriteOnly);
    exe.write("MZ");
}

}  // namespace tavrin::test
