#include "app/client_id.h"

#include <cwctype>

#include "app/fnv1a.h"
#include "app/ini_file.h"
#include "app/machine_identity.h"
#include "i18n/utf8_conversion.h"

namespace tavrin {
namespace {

constexpr std::wstring_view kPrefix = L"tavrin-";

bool IsHexDigit(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F');
}

std::wstring TrimSpaces(std::wstring_view text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && std::iswspace(static_cast<wint_t>(text[begin]))) {
        ++begin;
    }
    while (end > begin && std::iswspace(static_cast<wint_t>(text[end - 1]))) {
        --end;
    }
    return std::wstring(text.substr(begin, end - begin));
}

}  // namespace

bool IsValidClientId(std::wstring_view id) {
    if (id.size() < 8 || id.substr(0, kPrefix.size()) != kPrefix) {
        return false;
    }
    const std::wstring_view rest = id.substr(kPrefix.size());
    if (rest.size() == 16) {
        for (const wchar_t c : rest) {
            if (!IsHexDigit(c)) {
                return false;
            }
        }
        return true;
    }
    if (rest.size() == 36) {
        for (std::size_t i = 0; i < rest.size(); ++i) {
            const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
            if (dash ? rest[i] != L'-' : !IsHexDigit(rest[i])) {
                return false;
            }
        }
        return true;
    }
    return false;
}

std::wstring MachineClientId(std::wstring_view computerName, std::wstring_view userName) {
    const std::string joined = WideToUtf8(computerName) + "|" + WideToUtf8(userName);
    return std::wstring(kPrefix) + Utf8ToWide(Fnv1a64Hex(joined));
}

std::wstring ClientId(const std::filesystem::path& settingsFile) {
    if (!settingsFile.empty()) {
        std::wstring stored = TrimSpaces(ReadIniValue(settingsFile, L"General", L"client_id"));
        if (IsValidClientId(stored)) {
            return stored;
        }
    }
    std::wstring id;
    if (const std::wstring guid = NewGuidText(); !guid.empty()) {
        // Appended in place: GCC 12's fortified wmemcpy misreads a concatenated temporary.
        id.assign(kPrefix).append(guid);
    }
    if (!IsValidClientId(id)) {
        id = MachineClientId(ComputerName(), UserName());
    }
    if (!settingsFile.empty() && IsValidClientId(id)) {
        WriteIniValue(settingsFile, L"General", L"client_id", id);
    }
    return id;
}

}  // namespace tavrin
