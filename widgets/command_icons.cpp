#include "widgets/command_icons.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace tavrin {

QString RefreshIconSvg() {
    // Two opposed circular arrows: each a 7-unit arc with a corner stroke as its head.
    return QStringLiteral(
        "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 24 24' fill='none' "
        "stroke='#d8e8ff' stroke-width='2' stroke-linecap='round' stroke-linejoin='round'>"
        "<path d='M20 4v5h-5'/>"
        "<path d='M4 20v-5h5'/>"
        "<path d='M5.6 9A7 7 0 0 1 18.4 8.6L20 9'/>"
        "<path d='M18.4 15A7 7 0 0 1 5.6 15.4L4 15'/>"
        "</svg>");
}

QString SyncIconSvg() {
    return QStringLiteral(
        "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 24 24'>"
        "<path d='M12 4v10M8 10.5l4 4 4-4' fill='none' stroke='#ffffff' stroke-width='2' "
        "stroke-linecap='round' stroke-linejoin='round'/>"
        "<rect x='5' y='16' width='14' height='4' rx='1.5' fill='#ffffff' fill-opacity='0.85'/>"
        "</svg>");
}

QString StopIconSvg() {
    return QStringLiteral(
        "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 24 24'>"
        "<rect x='6' y='6' width='12' height='12' rx='2.5' fill='#ffd7df'/>"
        "</svg>");
}

QIcon RenderSvgIcon(const QString& svg, QSize size) {
    QSvgRenderer renderer(svg.toUtf8());
    if (!renderer.isValid()) {
        return {};
    }
    QPixmap pixmap(size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    renderer.render(&painter);
    painter.end();
    return QIcon(pixmap);
}

}  // namespace tavrin
