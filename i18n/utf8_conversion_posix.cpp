// POSIX side of the text conversions: wchar_t holds UTF-32 here, so the conversion is a plain
// UTF-8 codec. It replaces ill-formed input the way MultiByteToWideChar does, so both builds
// turn the same server bytes into the same characters.
#include <cstdint>

#include "i18n/utf8_conversion.h"

namespace tavrin {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Length of the sequence a lead byte announces, and the range its second byte must be in.
struct LeadByte {
    int length;
    unsigned char secondLow;
    unsigned char secondHigh;
};

LeadByte Classify(unsigned char lead) {
    if (lead >= 0xC2 && lead <= 0xDF) {
        return {2, 0x80, 0xBF};
    }
    if (lead == 0xE0) {
        return {3, 0xA0, 0xBF};
    }
    if (lead == 0xED) {
        return {3, 0x80, 0x9F};  // no surrogates
    }
    if (lead >= 0xE1 && lead <= 0xEF) {
        return {3, 0x80, 0xBF};
    }
    if (lead == 0xF0) {
        return {4, 0x90, 0xBF};
    }
    if (lead >= 0xF1 && lead <= 0xF3) {
        return {4, 0x80, 0xBF};
    }
    if (lead == 0xF4) {
        return {4, 0x80, 0x8F};
    }
    return {0, 0, 0};
}

void AppendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (c >> 12)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (c >> 18)));
        out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

}  // namespace

std::wstring Utf8ToWide(std::string_view utf8) {
    std::wstring wide;
    wide.reserve(utf8.size());
    std::size_t i = 0;
    while (i < utf8.size()) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        if (lead < 0x80) {
            wide.push_back(static_cast<wchar_t>(lead));
            ++i;
            continue;
        }
        const LeadByte kind = Classify(lead);
        // Take continuation bytes while they fit; a break ends the maximal subpart, which
        // becomes one replacement character.
        char32_t code = lead & (0xFF >> (kind.length + 1));
        int taken = 1;
        while (taken < kind.length && i + taken < utf8.size()) {
            const auto next = static_cast<unsigned char>(utf8[i + taken]);
            const unsigned char low = taken == 1 ? kind.secondLow : 0x80;
            const unsigned char high = taken == 1 ? kind.secondHigh : 0xBF;
            if (next < low || next > high) {
                break;
            }
            code = (code << 6) | (next & 0x3F);
            ++taken;
        }
        if (kind.length == 0 || taken < kind.length) {
            wide.push_back(static_cast<wchar_t>(kReplacement));
        } else {
            wide.push_back(static_cast<wchar_t>(code));
        }
        i += static_cast<std::size_t>(taken);
    }
    return wide;
}

std::string WideToUtf8(std::wstring_view wide) {
    std::string utf8;
    utf8.reserve(wide.size());
    for (const wchar_t w : wide) {
        auto c = static_cast<char32_t>(w);
        if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) {
            c = kReplacement;
        }
        AppendUtf8(utf8, c);
    }
    return utf8;
}

}  // namespace tavrin
