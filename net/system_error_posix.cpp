// Linux side of system error texts: the C library's message for an errno value.
#include <cstring>

#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/system_error.h"

namespace tavrin {

std::wstring FormatSystemError(std::string_view key, std::uint32_t code) {
    std::wstring text = TrWide(key) + L" (" + std::to_wstring(code) + L")";
    char buffer[256] = {};
    // GNU strerror_r returns the message, which may or may not be in the buffer.
    const char* message = strerror_r(static_cast<int>(code), buffer, sizeof buffer);
    if (message != nullptr && *message != 0) {
        text += L": " + Utf8ToWide(message);
    }
    return text;
}

}  // namespace tavrin
