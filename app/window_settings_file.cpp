#include "app/window_settings_file.h"

#include <algorithm>
#include <cctype>
#include <fstream>

namespace tavrin {
namespace {

void AppendCodePoint(std::string& out, std::uint32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// Reads the escape after a backslash at `raw[at]`; returns the position after it.
std::size_t ReadEscape(std::string_view raw, std::size_t at, std::string& out) {
    const char c = raw[at];
    const std::string_view simple = "abfnrtv\"'?\\";
    const std::string_view meaning = "\a\b\f\n\r\t\v\"'?\\";
    if (const std::size_t found = simple.find(c); found != std::string_view::npos) {
        out += meaning[found];
        return at + 1;
    }
    const bool hex = c == 'x';
    const int base = hex ? 16 : 8;
    std::size_t end = hex ? at + 1 : at;
    std::uint32_t code = 0;
    while (end < raw.size() && (hex ? std::isxdigit(static_cast<unsigned char>(raw[end])) != 0
                                    : raw[end] >= '0' && raw[end] <= '7')) {
        code = code * static_cast<std::uint32_t>(base) +
               static_cast<std::uint32_t>(std::isdigit(static_cast<unsigned char>(raw[end]))
                                              ? raw[end] - '0'
                                              : std::tolower(raw[end]) - 'a' + 10);
        ++end;
    }
    if (end == (hex ? at + 1 : at)) {
        out += c;  // an escape Qt does not write stands for itself
        return at + 1;
    }
    AppendCodePoint(out, code);
    return end;
}

std::string Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

using Sections = std::map<std::string, std::map<std::string, std::string>>;

// Sections and keys as the file writes them ("General" for keys outside a group); array
// entries keep Qt's backslash ("ProjectPasswords" / "1\key").
Sections ReadSections(std::istream& in) {
    Sections sections;
    std::string section = "General";
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const std::string trimmed = Trimmed(line);
        if (trimmed.empty() || trimmed.front() == ';' || trimmed.front() == '#') {
            continue;
        }
        if (trimmed.front() == '[' && trimmed.back() == ']') {
            section = trimmed.substr(1, trimmed.size() - 2);
            continue;
        }
        const std::size_t equals = trimmed.find('=');
        if (equals != std::string::npos) {
            sections[section][Trimmed(std::string_view(trimmed).substr(0, equals))] =
                Trimmed(std::string_view(trimmed).substr(equals + 1));
        }
    }
    return sections;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string Value(const Sections& sections, const std::string& section, const std::string& key) {
    const auto inSection = sections.find(section);
    if (inSection == sections.end()) {
        return {};
    }
    const auto found = inSection->second.find(key);
    if (found == inSection->second.end()) {
        return {};
    }
    const std::vector<std::string> values = ParseQtIniValue(found->second);
    return values.empty() ? std::string() : values.front();
}

void ReadPasswords(const Sections& sections, WindowSyncSettings& settings) {
    const int size = std::atoi(Value(sections, "ProjectPasswords", "size").c_str());
    for (int i = 1; i <= size; ++i) {
        const std::string index = std::to_string(i) + "\\";
        const std::string key = Lower(Trimmed(Value(sections, "ProjectPasswords", index + "key")));
        const std::string password = Value(sections, "ProjectPasswords", index + "password");
        if (!key.empty() && !password.empty()) {
            settings.passwords[key] = password;
        }
    }
}

// The servers the window shows, in lower case: "selected_domains" (joined by "|"), else the
// last one used, else every server of the list.
std::vector<std::string> SelectedServers(const Sections& sections) {
    std::vector<std::string> servers;
    std::string joined = Value(sections, "General", "selected_domains");
    if (Trimmed(joined).empty()) {
        joined = Value(sections, "General", "last_domain");
    }
    for (std::size_t start = 0; start <= joined.size();) {
        const std::size_t bar = std::min(joined.find('|', start), joined.size());
        if (std::string url = Lower(Trimmed(joined.substr(start, bar - start))); !url.empty()) {
            servers.push_back(std::move(url));
        }
        start = bar + 1;
    }
    return servers;
}

}  // namespace

std::vector<std::string> ParseQtIniValue(std::string_view raw) {
    if (raw == "@Invalid()") {
        return {};
    }
    std::vector<std::string> values;
    std::string current;
    std::size_t kept = 0;  // the length of `current` up to its last quoted or non-blank char
    bool quoted = false;
    for (std::size_t at = 0; at < raw.size();) {
        const char c = raw[at];
        if (c == '\\' && at + 1 < raw.size()) {
            at = ReadEscape(raw, at + 1, current);
            kept = current.size();
            continue;
        }
        ++at;
        if (c == '"') {
            quoted = !quoted;
            kept = current.size();
        } else if (c == ',' && !quoted) {
            current.resize(kept);
            values.push_back(std::move(current));
            current.clear();
            kept = 0;
        } else if ((c == ' ' || c == '\t') && !quoted) {
            if (!current.empty()) {
                current += c;  // kept only if something follows
            }
        } else {
            current += c;
            kept = current.size();
        }
    }
    current.resize(kept);
    values.push_back(std::move(current));
    if (values.size() == 1 && values.front().rfind("@@", 0) == 0) {
        values.front().erase(0, 1);
    }
    return values;
}

bool ReadWindowSyncSettings(const std::filesystem::path& file, WindowSyncSettings& settings) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return false;
    }
    const Sections sections = ReadSections(in);
    settings.targetFolder = Trimmed(Value(sections, "General", "target_path"));
    settings.httpLockEnabled = Lower(Value(sections, "General", "http_lock_enabled")) != "false";
    ReadPasswords(sections, settings);
    const std::vector<std::string> selected = SelectedServers(sections);
    const auto found = sections.find("General");
    if (found == sections.end() || !found->second.contains("selected_projects")) {
        return true;
    }
    for (const std::string& key : ParseQtIniValue(found->second.at("selected_projects"))) {
        const std::size_t bar = key.find('|');
        const std::string server = Lower(Trimmed(key.substr(0, bar)));
        if (bar == std::string::npos || key.size() == bar + 1 ||
            (!selected.empty() &&
             std::find(selected.begin(), selected.end(), server) == selected.end())) {
            continue;
        }
        settings.tickedProjects[server].push_back(key.substr(bar + 1));
    }
    return true;
}

}  // namespace tavrin
