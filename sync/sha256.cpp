#include "sync/sha256.h"

namespace tavrin {

std::string ToLowerHex(const unsigned char* bytes, std::size_t count) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string text(count * 2, '0');
    for (std::size_t i = 0; i < count; ++i) {
        text[2 * i] = kHex[bytes[i] >> 4];
        text[2 * i + 1] = kHex[bytes[i] & 0x0F];
    }
    return text;
}

}  // namespace tavrin
