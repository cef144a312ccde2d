// Windows side: the named mutex of the logon session, and a posted broadcast that the first
// instance's window receives in its native event hook.
#include "app/native_window.h"
#include "desktop/single_instance.h"

namespace tavrin {

QString SingleInstance::ServerName() {
    return QStringLiteral("Local\\Tavrin.SingleInstance");
}

InstanceClaim SingleInstance::Claim() {
    const InstanceClaim claim = mutex_.Claim(ServerName().toStdWString());
    if (claim == InstanceClaim::secondary && ShowMainWindowMessage != 0) {
        // Posted, not sent: this start never waits on another process's window.
        BroadcastMessage(ShowMainWindowMessage);
    }
    return claim;
}

}  // namespace tavrin
