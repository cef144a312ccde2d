// Linux side of the single-value INI access. It reads and rewrites the file line by line so
// that QSettings' own lines, comments and line endings survive a client id being written.
#include <unistd.h>

#include <vector>

#include "app/ini_file.h"
#include "base/file_io.h"
#include "base/trim_whitespace.h"
#include "i18n/ascii_text.h"
#include "i18n/utf8_conversion.h"

namespace tavrin {
namespace {

struct Line {
    std::string text;    // without its line ending
    std::string ending;  // "\n", "\r\n" or "" for a last line without one
};

std::vector<Line> SplitLines(const std::string& bytes) {
    std::vector<Line> lines;
    std::size_t start = 0;
    while (start < bytes.size()) {
        const std::size_t newline = bytes.find('\n', start);
        if (newline == std::string::npos) {
            lines.push_back({bytes.substr(start), ""});
            break;
        }
        std::size_t end = newline;
        std::string ending = "\n";
        if (end > start && bytes[end - 1] == '\r') {
            --end;
            ending = "\r\n";
        }
        lines.push_back({bytes.substr(start, end - start), ending});
        start = newline + 1;
    }
    return lines;
}

// The section a header line opens, or false when the line is none.
bool SectionHeader(std::string_view line, std::string& name) {
    const std::string trimmed = TrimWhitespace(line);
    if (trimmed.size() < 2 || trimmed.front() != '[' || trimmed.back() != ']') {
        return false;
    }
    name = TrimWhitespace(std::string_view(trimmed).substr(1, trimmed.size() - 2));
    return true;
}

// True when the line sets `key`; `value` gets its trimmed value without enclosing quotes.
bool KeyLine(std::string_view line, std::string_view key, std::string* value) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
        return false;
    }
    if (!EqualIgnoringAsciiCase(TrimWhitespace(line.substr(0, equals)), key)) {
        return false;
    }
    if (value != nullptr) {
        std::string text = TrimWhitespace(line.substr(equals + 1));
        if (text.size() >= 2 && ((text.front() == '"' && text.back() == '"') ||
                                 (text.front() == '\'' && text.back() == '\''))) {
            text = text.substr(1, text.size() - 2);
        }
        *value = text;
    }
    return true;
}

}  // namespace

std::wstring ReadIniValue(const std::filesystem::path& file, std::wstring_view section,
                          std::wstring_view key) {
    const std::string wantedSection = WideToUtf8(section);
    const std::string wantedKey = WideToUtf8(key);
    bool inSection = false;
    for (const Line& line : SplitLines(ReadWholeFile(file).value_or(""))) {
        std::string name;
        if (SectionHeader(line.text, name)) {
            inSection = EqualIgnoringAsciiCase(name, wantedSection);
            continue;
        }
        std::string value;
        if (inSection && KeyLine(line.text, wantedKey, &value)) {
            return Utf8ToWide(value);
        }
    }
    return {};
}

bool WriteIniValue(const std::filesystem::path& file, std::wstring_view section,
                   std::wstring_view key, std::wstring_view value) {
    const std::string wantedSection = WideToUtf8(section);
    const std::string wantedKey = WideToUtf8(key);
    const std::string newLine = wantedKey + "=" + WideToUtf8(value);
    std::vector<Line> lines = SplitLines(ReadWholeFile(file).value_or(""));
    const std::string ending = !lines.empty() && lines.front().ending == "\r\n" ? "\r\n" : "\n";

    bool inSection = false;
    bool sectionFound = false;
    bool replaced = false;
    std::size_t insertAt = 0;  // after the section's last non-blank line
    for (std::size_t i = 0; i < lines.size() && !replaced; ++i) {
        std::string name;
        if (SectionHeader(lines[i].text, name)) {
            if (inSection) {
                break;
            }
            inSection = EqualIgnoringAsciiCase(name, wantedSection);
            if (inSection) {
                sectionFound = true;
                insertAt = i + 1;
            }
            continue;
        }
        if (!inSection) {
            continue;
        }
        if (KeyLine(lines[i].text, wantedKey, nullptr)) {
            lines[i].text = newLine;
            replaced = true;
        } else if (!TrimWhitespace(lines[i].text).empty()) {
            insertAt = i + 1;
        }
    }
    if (!lines.empty() && lines.back().ending.empty()) {
        lines.back().ending = ending;
    }
    if (!sectionFound) {
        lines.push_back({"[" + wantedSection + "]", ending});
        lines.push_back({newLine, ending});
    } else if (!replaced) {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(insertAt), {newLine, ending});
    }
    std::string bytes;
    for (const Line& line : lines) {
        bytes += line.text + line.ending;
    }
    return WriteFileReplacing(file, bytes);
}

}  // namespace tavrin
