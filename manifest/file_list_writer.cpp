#include "manifest/file_list_writer.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace tavrin {
namespace {

void AppendJsonString(std::string& out, std::string_view text) {
    out.push_back('"');
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out.push_back('\\');
            out.push_back(c);
        } else if (byte < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            out += escape;
        } else {
            out.push_back(c);
        }
    }
    out.push_back('"');
}

void AppendNumber(std::string& out, double value) {
    std::array<char, 64> buffer{};
    // Shortest text that reads back to the same double.
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    out.append(buffer.data(), result.ptr);
}

}  // namespace

void AppendFileListEntryJson(std::string& out, std::string_view relativePath, std::uint64_t size,
                             double mtime, std::string_view hash, bool first) {
    out += first ? "{\"relative_path\":" : ",{\"relative_path\":";
    AppendJsonString(out, relativePath);
    out += ",\"size\":";
    std::array<char, 24> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), size).ptr;
    out.append(digits.data(), end);
    out += ",\"mtime\":";
    AppendNumber(out, mtime);
    out += ",\"hash\":";
    AppendJsonString(out, hash);
    out += "}";
}

std::string WriteFileListJson(const std::vector<FileListEntry>& entries) {
    std::string out = "[";
    out.reserve(entries.size() * 160 + 2);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const FileListEntry& entry = entries[i];
        AppendFileListEntryJson(out, entry.relativePath, entry.size, entry.mtime, entry.hash,
                                i == 0);
    }
    out += "]";
    return out;
}

}  // namespace tavrin
