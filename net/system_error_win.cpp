// Windows side of system error texts: FormatMessageW. WinHTTP's own codes (12xxx) have no
// system text, so such an error ends after the code.
#include <windows.h>

#include "i18n/translator.h"
#include "net/system_error.h"

namespace tavrin {

std::wstring FormatSystemError(std::string_view key, std::uint32_t code) {
    std::wstring text = TrWide(key) + L" (" + std::to_wstring(code) + L")";
    LPWSTR message = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_ALLOCATE_BUFFER,
        nullptr, code, 0, reinterpret_cast<LPWSTR>(&message), 0, nullptr);
    if (length > 0 && message != nullptr) {
        text += L": ";
        text.append(message, length);
    }
    LocalFree(message);
    return text;
}

}  // namespace tavrin
