#pragma once

// Windows builds only: whether the tests run under Wine, which some checks cannot be made on
// (each such test says why when it skips).
#include <windows.h>

namespace tavrin::test {

inline bool RunningUnderWine() {
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

}  // namespace tavrin::test
