#include "i18n/utf8_conversion.h"

namespace tavrin {

std::string PathToUtf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

std::filesystem::path Utf8ToPath(std::string_view utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

std::wstring PathToWide(const std::filesystem::path& path) {
    return Utf8ToWide(PathToUtf8(path));
}

std::filesystem::path WideToPath(std::wstring_view wide) {
    return Utf8ToPath(WideToUtf8(wide));
}

}  // namespace tavrin
