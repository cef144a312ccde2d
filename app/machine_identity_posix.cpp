// Linux side of the machine identity: a version-4 GUID from getrandom, the host name and the
// user's login name.
#include <pwd.h>
#include <sys/random.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "app/machine_identity.h"
#include "i18n/utf8_conversion.h"

namespace tavrin {

std::wstring NewGuidText() {
    std::array<std::uint8_t, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        return {};
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    static constexpr wchar_t kHex[] = L"0123456789abcdef";
    std::wstring text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back(L'-');
        }
        text.push_back(kHex[bytes[i] >> 4]);
        text.push_back(kHex[bytes[i] & 0x0F]);
    }
    return text;
}

std::wstring ComputerName() {
    std::array<char, 256> buffer{};
    if (gethostname(buffer.data(), buffer.size() - 1) != 0) {
        return {};
    }
    return Utf8ToWide(buffer.data());
}

std::wstring UserName() {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr && found->pw_name != nullptr) {
        return Utf8ToWide(found->pw_name);
    }
    const char* user = std::getenv("USER");
    return user != nullptr ? Utf8ToWide(user) : std::wstring();
}

}  // namespace tavrin
