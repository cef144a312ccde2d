#include "i18n/letter_or_number.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace tavrin {
namespace {

struct Range {
    char32_t first;
    char32_t last;
};

constexpr Range kRanges[] = {
#include "i18n/letter_or_number_table.inc"
};

}  // namespace

bool IsLetterOrNumber(char32_t codePoint) {
    if (codePoint < 0x80) {
        return (codePoint >= '0' && codePoint <= '9') || (codePoint >= 'A' && codePoint <= 'Z') ||
               (codePoint >= 'a' && codePoint <= 'z');
    }
    const auto* end = std::end(kRanges);
    const auto* it = std::upper_bound(std::begin(kRanges), end, codePoint,
                                      [](char32_t c, const Range& r) { return c < r.first; });
    return it != std::begin(kRanges) && codePoint <= std::prev(it)->last;
}

}  // namespace tavrin
