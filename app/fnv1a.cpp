#include "app/fnv1a.h"

#include <array>

namespace tavrin {
namespace {
constexpr std::uint64_t kOffset = 0x14650fb0739d0383ULL;
constexpr std::uint64_t kPrime = 0x100000001b3ULL;
}  // namespace

std::uint64_t Fnv1a64(std::string_view bytes) {
    std::uint64_t value = kOffset;
    for (const char c : bytes) {
        value ^= static_cast<unsigned char>(c);
        value *= kPrime;
    }
    return value;
}

std::string Fnv1a64Hex(std::string_view bytes) {
    static constexpr std::array<char, 16> kDigits = {'0', '1', '2', '3', '4', '5', '6', '7',
                                                     '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
    std::uint64_t value = Fnv1a64(bytes);
    std::string text(16, '0');
    for (int i = 15; i >= 0; --i) {
        text[static_cast<std::size_t>(i)] = kDigits[value & 0xF];
        value >>= 4;
    }
    return text;
}

}  // namespace tavrin
