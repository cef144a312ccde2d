#include "sync/game_process.h"

#include "i18n/utf8_conversion.h"

namespace tavrin {

std::wstring LinuxPathOfDriveZ(std::string_view argument) {
    if (argument.size() < 3 || (argument[0] != 'Z' && argument[0] != 'z') || argument[1] != ':' ||
        (argument[2] != '\\' && argument[2] != '/')) {
        return {};
    }
    std::wstring path = Utf8ToWide(argument.substr(2));
    for (wchar_t& c : path) {
        if (c == L'\\') {
            c = L'/';
        }
    }
    return path;
}

}  // namespace tavrin
