#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include "tests/support/content_server.h"
#include "ui_sandbox.h"

namespace tavrin {
class TavrinQtWindow;
}

namespace tavrin::test {

// A server as the settings file names it: a test content server, or any address.
struct NamedServer {
    NamedServer(QByteArray serverName, ContentServer* server)
        : name(std::move(serverName)), content(server) {}
    NamedServer(QByteArray serverName, QByteArray address)
        : name(std::move(serverName)), url(std::move(address)) {}
    QByteArray name;
    ContentServer* content = nullptr;
    QByteArray url;  // when there is no `content`
};

QByteArray UrlOf(ContentServer& server);

// A settings file with these servers selected, `game` as the game folder, the project keys
// `ticked` (comma-separated) ticked, `general` added to [General] and `groups` appended.
QByteArray WindowSettings(const QString& game, const QList<NamedServer>& servers,
                          const QByteArray& ticked, const QByteArray& general = {},
                          const QByteArray& groups = {});

// The log view's text.
QString LogText(const TavrinQtWindow& window);

// A file's bytes, or "<missing>".
QByteArray FileAt(const QString& path);

// A game folder at `path`, made as a player's installation looks.
void MakeGameFolderAt(const QString& path);

// A player's set-up: a sandbox with a game folder, and a content server whose project "Cars"
// (a.txt, "first", at revision 1) is ticked in the settings, with `general` added to them.
struct TickedCars {
    explicit TickedCars(const QByteArray& general = {});

    UiSandbox sandbox;
    QString game;
    ContentServer server;
};

}  // namespace tavrin::test
