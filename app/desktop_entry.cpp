#include "app/desktop_entry.h"

#include "base/trim_whitespace.h"

namespace tavrin {

namespace {

// The string escapes every desktop-entry value may use.
std::wstring UnescapeValue(std::wstring_view value) {
    std::wstring text;
    text.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != L'\\' || i + 1 == value.size()) {
            text += value[i];
            continue;
        }
        switch (value[++i]) {
            case L's':
                text += L' ';
                break;
            case L'n':
                text += L'\n';
                break;
            case L't':
                text += L'\t';
                break;
            case L'r':
                text += L'\r';
                break;
            case L'\\':
                text += L'\\';
                break;
            default:
                text += L'\\';
                text += value[i];
        }
    }
    return text;
}

bool IsQuotedEscape(wchar_t c) {
    return c == L'"' || c == L'`' || c == L'$' || c == L'\\';
}

bool IsBlank(wchar_t c) {
    return c == L' ' || c == L'\t';
}

// The value of `key` in a "key=value" line, or nothing when the line holds another key.
bool ValueOf(std::string_view line, std::string_view key, std::string& value) {
    if (line.size() <= key.size() || line.substr(0, key.size()) != key) {
        return false;
    }
    std::string_view rest = line.substr(key.size());
    const std::size_t equals = rest.find('=');
    if (equals == std::string_view::npos || !TrimWhitespace(rest.substr(0, equals)).empty()) {
        return false;
    }
    value = TrimWhitespace(rest.substr(equals + 1));
    return true;
}

}  // namespace

bool SplitDesktopExec(std::wstring_view execValue, std::vector<std::wstring>& arguments) {
    arguments.clear();
    const std::wstring text = UnescapeValue(execValue);
    std::wstring current;
    bool inArgument = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        if (IsBlank(c)) {
            if (inArgument) {
                arguments.push_back(current);
                current.clear();
                inArgument = false;
            }
            continue;
        }
        inArgument = true;
        if (c == L'"') {
            bool closed = false;
            for (++i; i < text.size(); ++i) {
                if (text[i] == L'"') {
                    closed = true;
                    break;
                }
                if ((text[i] == L'\\' && i + 1 < text.size() && IsQuotedEscape(text[i + 1])) ||
                    (text[i] == L'%' && i + 1 < text.size() && text[i + 1] == L'%')) {
                    ++i;
                }
                current += text[i];
            }
            if (!closed) {
                return false;
            }
        } else if (c == L'%' && i + 1 < text.size()) {
            if (text[++i] == L'%') {
                current += L'%';
            }
        } else {
            current += c;
        }
    }
    if (inArgument) {
        arguments.push_back(current);
    }
    return true;
}

std::wstring QuoteDesktopExecArgument(std::wstring_view argument) {
    std::wstring quoted = L"\"";
    for (const wchar_t c : argument) {
        if (IsQuotedEscape(c)) {
            quoted += L'\\';
        }
        quoted += c;
    }
    quoted += L'"';
    // Field codes, then the string escapes: both apply before the quoting is read back.
    std::wstring stored;
    for (const wchar_t c : quoted) {
        if (c == L'%') {
            stored += L"%%";
        } else if (c == L'\\') {
            stored += L"\\\\";
        } else {
            stored += c;
        }
    }
    return stored;
}

std::string DesktopEntryExec(std::string_view fileText) {
    bool inEntryGroup = false;
    std::string exec;
    bool switchedOff = false;
    std::size_t start = 0;
    while (start <= fileText.size()) {
        std::size_t end = fileText.find('\n', start);
        if (end == std::string_view::npos) {
            end = fileText.size();
        }
        const std::string line = TrimWhitespace(fileText.substr(start, end - start));
        start = end + 1;
        if (!line.empty() && line.front() == '[') {
            inEntryGroup = line == "[Desktop Entry]";
            continue;
        }
        std::string value;
        if (!inEntryGroup) {
            continue;
        }
        if (ValueOf(line, "Exec", value)) {
            exec = value;
        } else if (ValueOf(line, "Hidden", value)) {
            switchedOff = switchedOff || value == "true";
        } else if (ValueOf(line, "X-GNOME-Autostart-enabled", value)) {
            switchedOff = switchedOff || value == "false";
        }
    }
    return switchedOff ? std::string() : exec;
}

std::string AutostartDesktopEntry(std::string_view name, std::string_view execValue) {
    std::string text = "[Desktop Entry]\nType=Application\nName=";
    text += name;
    text += "\nExec=";
    text += execValue;
    text += "\nTerminal=false\nX-GNOME-Autostart-enabled=true\n";
    return text;
}

}  // namespace tavrin
