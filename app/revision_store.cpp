#include "app/revision_store.h"

#include <cwctype>
#include <string>

#include "app/ini_file.h"
#include "base/trim_whitespace.h"

namespace tavrin {
namespace {

constexpr const wchar_t* kSection = L"AutoSyncRevisions";

std::wstring DomainKey(std::wstring_view domain) {
    std::wstring key = TrimWhitespace(domain);
    for (wchar_t& c : key) {
        c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    }
    return key;
}

int ArraySize(const std::filesystem::path& file) {
    const std::wstring size = ReadIniValue(file, kSection, L"size");
    try {
        return size.empty() ? 0 : std::stoi(size);
    } catch (...) {
        return 0;
    }
}

std::uint64_t ToRevision(const std::wstring& text) {
    try {
        return text.empty() ? 0 : std::stoull(text);
    } catch (...) {
        return 0;
    }
}

// The element (1-based) holding `key`, the last one when repeated; 0 when none does.
int FindElement(const std::filesystem::path& file, const std::wstring& key) {
    int found = 0;
    const int size = ArraySize(file);
    for (int n = 1; n <= size; ++n) {
        const std::wstring domain = ReadIniValue(file, kSection, std::to_wstring(n) + L"\\domain");
        if (!domain.empty() && DomainKey(domain) == key) {
            found = n;
        }
    }
    return found;
}

}  // namespace

std::uint64_t ReadAutoSyncRevision(const std::filesystem::path& settingsFile,
                                   std::wstring_view domain) {
    const int element = FindElement(settingsFile, DomainKey(domain));
    return element == 0 ? 0
                        : ToRevision(ReadIniValue(settingsFile, kSection,
                                                  std::to_wstring(element) + L"\\revision"));
}

bool WriteAutoSyncRevision(const std::filesystem::path& settingsFile, std::wstring_view domain,
                           std::uint64_t revision) {
    const std::wstring key = DomainKey(domain);
    int element = FindElement(settingsFile, key);
    if (element == 0) {
        element = ArraySize(settingsFile) + 1;
        if (!WriteIniValue(settingsFile, kSection, std::to_wstring(element) + L"\\domain", key) ||
            !WriteIniValue(settingsFile, kSection, L"size", std::to_wstring(element))) {
            return false;
        }
    }
    return WriteIniValue(settingsFile, kSection, std::to_wstring(element) + L"\\revision",
                         std::to_wstring(revision));
}

}  // namespace tavrin
