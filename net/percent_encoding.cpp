#include "net/percent_encoding.h"

namespace tavrin {
namespace {

bool IsUnreserved(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

std::string Encode(std::string_view utf8, bool keepSlashes) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(utf8.size() * 3);
    for (const char ch : utf8) {
        const auto c = static_cast<unsigned char>(ch);
        if (IsUnreserved(c) || (keepSlashes && c == '/')) {
            out.push_back(ch);
        } else {
            out.push_back('%');
            out.push_back(kHex[c >> 4]);
            out.push_back(kHex[c & 0x0F]);
        }
    }
    return out;
}

}  // namespace

std::string PercentEncode(std::string_view utf8) {
    return Encode(utf8, false);
}

std::string PercentEncodeKeepingSlashes(std::string_view utf8) {
    return Encode(utf8, true);
}

bool PercentDecode(std::string_view text, std::string& decoded) {
    const auto hex = [](char c) {
        return c >= '0' && c <= '9'   ? c - '0'
               : c >= 'a' && c <= 'f' ? c - 'a' + 10
               : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                      : -1;
    };
    decoded.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded.push_back(text[i]);
            continue;
        }
        if (i + 2 >= text.size() || hex(text[i + 1]) < 0 || hex(text[i + 2]) < 0) {
            return false;
        }
        decoded.push_back(static_cast<char>(hex(text[i + 1]) * 16 + hex(text[i + 2])));
        i += 2;
    }
    return true;
}

}  // namespace tavrin
