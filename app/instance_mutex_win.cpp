#include <windows.h>

#include <string>

#include "app/instance_mutex.h"

namespace tavrin {

void InstanceMutex::Release() {
    if (handle_ != 0) {
        CloseHandle(reinterpret_cast<HANDLE>(handle_));
        handle_ = 0;
    }
}

InstanceClaim InstanceMutex::Claim(std::wstring_view name) {
    const std::wstring text(name);
    HANDLE mutex = CreateMutexW(nullptr, FALSE, text.c_str());
    if (mutex == nullptr) {
        return InstanceClaim::failed;
    }
    if (GetLastError() == ERROR_ALREADY_EXISTS) {
        CloseHandle(mutex);
        return InstanceClaim::secondary;
    }
    handle_ = reinterpret_cast<std::uintptr_t>(mutex);
    return InstanceClaim::primary;
}

}  // namespace tavrin
