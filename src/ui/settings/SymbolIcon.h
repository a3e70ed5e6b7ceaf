#pragma once

#include <QIcon>
#include <QStyle>

class QLabel;

// An icon of the desktop's theme by its freedesktop name, in full colour or symbolic, else the
// style's own picture.
QIcon symbolIcon(const QString &name, QStyle::StandardPixmap fallback = QStyle::SP_CustomBase);

// Shows `icon` in `label` at the style's small-icon size, as beside a line of text.
void setSmallIcon(QLabel &label, const QIcon &icon);
