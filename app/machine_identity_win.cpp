// Windows side of the machine identity: CoCreateGuid and the computer and user names.
#include <windows.h>
// Windows headers below need <windows.h> first.
#include <objbase.h>

#include <algorithm>
#include <cwctype>

#include "app/machine_identity.h"

namespace tavrin {

std::wstring NewGuidText() {
    GUID guid{};
    if (FAILED(CoCreateGuid(&guid))) {
        return {};
    }
    wchar_t buffer[64] = {};
    const int length = StringFromGUID2(guid, buffer, 64);
    if (length < 3) {
        return {};
    }
    std::wstring text(buffer + 1, static_cast<std::size_t>(length) - 3);  // without the braces
    std::transform(text.begin(), text.end(), text.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
    return text;
}

std::wstring ComputerName() {
    wchar_t buffer[256] = {};
    DWORD size = 256;
    return GetComputerNameW(buffer, &size) ? std::wstring(buffer, size) : std::wstring();
}

std::wstring UserName() {
    wchar_t buffer[256] = {};
    DWORD size = 256;
    // The size returned counts the terminating NUL.
    return GetUserNameW(buffer, &size) && size > 0 ? std::wstring(buffer, size - 1)
                                                   : std::wstring();
}

}  // namespace tavrin
