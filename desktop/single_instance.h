#pragma once

#include <QObject>
#include <QString>
#include <cstdint>

#include "app/instance_mutex.h"

class QLocalServer;

namespace tavrin {

// The registered "Tavrin.ShowMainWindow.v1" message (Windows); 0 when it could not be had,
// and always 0 on Linux, where the wake-up travels over the instance's local socket.
extern std::uint32_t ShowMainWindowMessage;
inline constexpr const wchar_t* kShowMainWindowMessageName = L"Tavrin.ShowMainWindow.v1";

// One running instance per user session. The first to claim it keeps it for its whole run;
// a later start wakes that one and ends. Windows holds the named mutex
// "Local\Tavrin.SingleInstance" and wakes the first instance with a posted broadcast; Linux
// listens on a per-user local socket (a stale one left by a crash is taken over) and the
// second start sends "show" through it.
class SingleInstance final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SingleInstance)
public:
    SingleInstance();
    ~SingleInstance() override;

    InstanceClaim Claim();

    // The local socket's name: per user, and per data folder when TAVRIN_DATA_DIR sets one,
    // so that portable installs and tests do not meet each other.
    static QString ServerName();

signals:
    // Another start asked this instance to show its window (Linux; Windows delivers the
    // broadcast to the window's native event hook instead).
    void WakeRequested();

private:
    InstanceMutex mutex_;
    QLocalServer* server_ = nullptr;  // a child of this object; Linux only
};

}  // namespace tavrin
