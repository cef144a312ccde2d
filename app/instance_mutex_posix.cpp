// Linux has no named kernel mutexes; the window's single instance uses a local socket there.
#include "app/instance_mutex.h"

namespace tavrin {

void InstanceMutex::Release() {
    handle_ = 0;
}

InstanceClaim InstanceMutex::Claim(std::wstring_view /*name*/) {
    return InstanceClaim::failed;
}

}  // namespace tavrin
