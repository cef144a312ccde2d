#include "server/hash_cache_file.h"

#include <charconv>
#include <optional>

#include "base/file_io.h"
#include "net/percent_encoding.h"

namespace tavrin::server {
namespace {

constexpr const char* kFileName = "hashes.txt";

}  // namespace

bool DigestFromHex(std::string_view hex, std::array<std::uint8_t, 32>& digest) {
    if (hex.size() != 64) {
        return false;
    }
    for (std::size_t i = 0; i < 32; ++i) {
        if (std::from_chars(hex.data() + 2 * i, hex.data() + 2 * i + 2, digest[i], 16).ec !=
            std::errc()) {
            return false;
        }
    }
    return true;
}

void ParseHashCacheText(std::string_view text, const HashCacheVisitor& visit) {
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        std::string_view fields[5];
        std::size_t count = 0;
        while (count < 5) {
            const std::size_t tab = line.find('\t');
            fields[count++] = line.substr(0, tab);
            if (tab == std::string_view::npos) {
                break;
            }
            line = line.substr(tab + 1);
        }
        std::string project;
        std::string path;
        CatalogFile file;
        if (count != 5 || !PercentDecode(fields[0], project) || !PercentDecode(fields[1], path) ||
            std::from_chars(fields[2].data(), fields[2].data() + fields[2].size(), file.size).ec !=
                std::errc() ||
            std::from_chars(fields[3].data(), fields[3].data() + fields[3].size(), file.mtimeNs)
                    .ec != std::errc() ||
            !DigestFromHex(fields[4], file.digest)) {
            continue;  // a damaged line costs one hash, nothing more
        }
        file.hashed = true;
        visit(project, path, file);
    }
}

void ReadHashCacheFile(const std::filesystem::path& stateFolder, const HashCacheVisitor& visit) {
    if (const std::optional<std::string> text = ReadWholeFile(stateFolder / kFileName)) {
        ParseHashCacheText(*text, visit);
    }
}

std::string HashCacheText(const std::map<std::string, std::shared_ptr<const Project>>& projects) {
    std::string hashes;
    for (const auto& [name, project] : projects) {
        const std::string encodedName = PercentEncode(name);
        for (const CatalogFile& file : project->files) {
            if (!file.hashed) {
                continue;
            }
            hashes += encodedName;
            hashes += '\t';
            hashes += PercentEncodeKeepingSlashes(project->PathOf(file));
            hashes += '\t' + std::to_string(file.size) + '\t' + std::to_string(file.mtimeNs) +
                      '\t' + project->HashOf(file) + '\n';
        }
    }
    return hashes;
}

bool WriteHashCacheFile(const std::filesystem::path& stateFolder,
                        const std::map<std::string, std::shared_ptr<const Project>>& projects) {
    return WriteFileReplacing(stateFolder / kFileName, HashCacheText(projects));
}

}  // namespace tavrin::server
