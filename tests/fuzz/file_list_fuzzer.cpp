// Feeds arbitrary bytes to the file-list reader: it must never crash, hang or read out of
// bounds, and a successful read must keep its promises.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "manifest/file_list_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    tavrin::FileListReader reader{text, 0};
    std::vector<tavrin::FileListEntry> entries;
    tavrin::FileListReadError error;
    const bool ok = tavrin::ReadFileList(reader, entries, error);
    if (reader.position > size) {
        std::abort();
    }
    if (ok) {
        for (const auto& entry : entries) {
            if (entry.relativePath.empty() || !(entry.mtime >= 0.0) ||
                entry.mtime > 32503680000.0) {
                std::abort();
            }
        }
    } else if (error.message.empty()) {
        std::abort();
    }
    return 0;
}
