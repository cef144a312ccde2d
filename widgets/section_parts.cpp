#include "widgets/section_parts.h"

#include <QFrame>
#include <QLabel>

namespace tavrin {

QFrame* MakeDivider(QWidget* parent) {
    auto* divider = new QFrame(parent);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Plain);
    divider->setObjectName(QStringLiteral("SectionDivider"));
    return divider;
}

QLabel* MakeLabel(const QString& objectName, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setObjectName(objectName);
    return label;
}

}  // namespace tavrin
