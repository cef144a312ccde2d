// Linux side: a local socket per user. The first instance listens; a later one connects,
// says "show" and ends.
#include <unistd.h>

#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>

#include "app/fnv1a.h"
#include "desktop/single_instance.h"

namespace tavrin {

namespace {

constexpr int kConnectTimeoutMs = 1000;
const QByteArray kShowRequest = QByteArrayLiteral("show\n");

}  // namespace

QString SingleInstance::ServerName() {
    QString name = QStringLiteral("tavrin-%1.single-instance").arg(getuid());
    const QByteArray dataFolder = qgetenv("TAVRIN_DATA_DIR");
    if (!dataFolder.isEmpty()) {
        name += QLatin1Char('.') + QString::fromStdString(Fnv1a64Hex(dataFolder.toStdString()));
    }
    return name;
}

InstanceClaim SingleInstance::Claim() {
    const QString name = ServerName();
    {
        QLocalSocket running;
        running.connectToServer(name);
        if (running.waitForConnected(kConnectTimeoutMs)) {
            running.write(kShowRequest);
            running.waitForBytesWritten(kConnectTimeoutMs);
            running.disconnectFromServer();
            return InstanceClaim::secondary;
        }
    }
    // Nobody answered: a socket file still standing was left by an instance that crashed.
    QLocalServer::removeServer(name);
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(name)) {
        delete server_;
        server_ = nullptr;
        return InstanceClaim::failed;
    }
    connect(server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* client = server_->nextPendingConnection()) {
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
            const auto readRequest = [this, client] {
                if (client->canReadLine() && client->readLine() == kShowRequest) {
                    emit WakeRequested();
                }
            };
            connect(client, &QLocalSocket::readyRead, this, readRequest);
            readRequest();  // the request may have arrived with the connection
        }
    });
    return InstanceClaim::primary;
}

}  // namespace tavrin
