#include "sync/folder_handle.h"

namespace tavrin {

NativeHandle& NativeHandle::operator=(NativeHandle&& other) noexcept {
    if (this != &other) {
        Close();
        value_ = other.Release();
    }
    return *this;
}

std::intptr_t NativeHandle::Release() {
    const std::intptr_t value = value_;
    value_ = kClosed;
    return value;
}

}  // namespace tavrin
