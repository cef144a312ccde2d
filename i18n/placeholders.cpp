#include "i18n/placeholders.h"

#include <vector>

namespace tavrin {
namespace {

template <typename Char>
std::basic_string<Char> Fill(std::basic_string_view<Char> text,
                             std::initializer_list<std::basic_string_view<Char>> args) {
    const std::vector<std::basic_string_view<Char>> values(args);
    const auto isDigit = [](Char c) { return c >= '0' && c <= '9'; };
    std::basic_string<Char> out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        if (text[i] == '%' && i + 1 < text.size() && isDigit(text[i + 1])) {
            std::size_t number = static_cast<std::size_t>(text[i + 1] - '0');
            std::size_t length = 2;
            if (i + 2 < text.size() && isDigit(text[i + 2])) {
                number = number * 10 + static_cast<std::size_t>(text[i + 2] - '0');
                length = 3;
            }
            if (number >= 1 && number <= values.size()) {
                out.append(values[number - 1]);
                i += length;
                continue;
            }
        }
        out.push_back(text[i]);
        ++i;
    }
    return out;
}

}  // namespace

std::wstring FillPlaceholders(std::wstring_view text,
                              std::initializer_list<std::wstring_view> args) {
    return Fill(text, args);
}

std::string FillPlaceholders(std::string_view text, std::initializer_list<std::string_view> args) {
    return Fill(text, args);
}

}  // namespace tavrin
