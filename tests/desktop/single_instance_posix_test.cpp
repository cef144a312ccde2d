// One instance per user: the local socket claimed, found, and taken over when stale.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QDir>
#include <QSignalSpy>
#include <QtTest>

#include "desktop/single_instance.h"
#include "ui_sandbox.h"

namespace tavrin {

class SingleInstancePosixTest : public QObject {
    Q_OBJECT

private slots:
    void TheSecondClaimWakesTheFirst() {
        test::UiSandbox sandbox;
        SingleInstance first;
        QCOMPARE(first.Claim(), InstanceClaim::primary);
        QSignalSpy woken(&first, &SingleInstance::WakeRequested);
        SingleInstance second;
        QCOMPARE(second.Claim(), InstanceClaim::secondary);
        QVERIFY(woken.wait(3000));
        QCOMPARE(woken.count(), 1);
    }

    void TheNameIsPerUserAndPerDataFolder() {
        test::UiSandbox one;
        const QString first = SingleInstance::ServerName();
        QVERIFY(first.contains(QString::number(getuid())));
        test::UiSandbox two;
        QVERIFY(SingleInstance::ServerName() != first);
    }

    void AStaleSocketLeftByACrashIsTakenOver() {
        test::UiSandbox sandbox;
        const QByteArray path =
            QFile::encodeName(QDir::tempPath() + QLatin1Char('/') + SingleInstance::ServerName());
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        QVERIFY(fd >= 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        QVERIFY(static_cast<std::size_t>(path.size()) < sizeof address.sun_path);
        std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
        QCOMPARE(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        close(fd);  // the socket file stays, with nobody listening: what a crash leaves
        QVERIFY(QFile::exists(QString::fromLocal8Bit(path)));

        SingleInstance instance;
        QCOMPARE(instance.Claim(), InstanceClaim::primary);
        SingleInstance second;
        QCOMPARE(second.Claim(), InstanceClaim::secondary);
    }
};

}  // namespace tavrin

QTEST_GUILESS_MAIN(tavrin::SingleInstancePosixTest)
#include "single_instance_posix_test.moc"
