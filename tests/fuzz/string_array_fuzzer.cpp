// Feeds arbitrary bytes to the project-list reader: it must never crash, hang or read out of
// bounds, and a failure must always say why.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "manifest/file_list_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    tavrin::FileListReader reader{text, 0};
    std::vector<std::string> strings;
    tavrin::FileListReadError error;
    const bool ok = tavrin::ReadStringArray(reader, strings, error);
    if (reader.position > size || (!ok && error.message.empty())) {
        std::abort();
    }
    return 0;
}
