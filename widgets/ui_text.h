#pragma once

#include <QString>

#include "i18n/translator.h"

namespace tavrin {

// The text of a language-pack key in the current language, for the window's widgets.
inline QString Text(const char* key) {
    return QString::fromStdString(tr(key));
}

}  // namespace tavrin
