#include "widgets/theme.h"

#include <QFile>

namespace tavrin {

QString ThemeStyleSheet() {
    QFile file(QStringLiteral(":/widgets/theme.qss"));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QString::fromUtf8(file.readAll());
}

}  // namespace tavrin
