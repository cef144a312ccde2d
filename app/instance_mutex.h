#pragma once

#include <cstdint>
#include <string_view>

namespace tavrin {

// The named kernel mutex that lets one instance run per logon session (Windows only; the
// Linux build holds a local socket instead).
enum class InstanceClaim { primary, secondary, failed };

class InstanceMutex {
public:
    InstanceMutex() = default;
    InstanceMutex(const InstanceMutex&) = delete;
    InstanceMutex& operator=(const InstanceMutex&) = delete;
    ~InstanceMutex() { Release(); }

    // CreateMutexW on `name`: primary when this process made it, secondary when it existed
    // already (the handle is then closed at once), failed when no handle came back.
    InstanceClaim Claim(std::wstring_view name);

private:
    void Release();

    std::uintptr_t handle_ = 0;
};

}  // namespace tavrin
