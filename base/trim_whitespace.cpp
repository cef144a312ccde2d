#include "base/trim_whitespace.h"

namespace tavrin {
namespace {

template <typename Char>
std::basic_string<Char> Trim(std::basic_string_view<Char> text) {
    const auto isBlank = [](Char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && isBlank(text[begin])) {
        ++begin;
    }
    while (end > begin && isBlank(text[end - 1])) {
        --end;
    }
    return std::basic_string<Char>(text.substr(begin, end - begin));
}

}  // namespace

std::wstring TrimWhitespace(std::wstring_view text) {
    return Trim(text);
}

std::string TrimWhitespace(std::string_view text) {
    return Trim(text);
}

}  // namespace tavrin
