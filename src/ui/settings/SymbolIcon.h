#pragma once

#include <QIcon>
#include <QStyle>

// An icon of the desktop's theme by its freedesktop name, in full colour or symbolic, else the
// style's own picture.
QIcon symbolIcon(const QString &name, QStyle::StandardPixmap fallback = QStyle::SP_CustomBase);
