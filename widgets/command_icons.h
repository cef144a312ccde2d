#pragma once

#include <QIcon>
#include <QSize>
#include <QString>

namespace tavrin {

// The command bar's icons, drawn from SVG text on a 24 x 24 view box.
QString RefreshIconSvg();
QString SyncIconSvg();
QString StopIconSvg();

// Renders SVG text into a transparent pixmap of `size`; a null icon when the text is no SVG.
QIcon RenderSvgIcon(const QString& svg, QSize size);

}  // namespace tavrin
