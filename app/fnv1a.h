#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tavrin {

// 64-bit FNV-1a with the program's own starting value 0x14650fb0739d0383 (not the usual
// offset basis) and the standard prime. It names the machine-derived client id and the
// manifest cache files, so changing it would orphan both.
std::uint64_t Fnv1a64(std::string_view bytes);

// The hash as exactly 16 lower-case hexadecimal digits, zero-padded on the left.
std::string Fnv1a64Hex(std::string_view bytes);

}  // namespace tavrin
