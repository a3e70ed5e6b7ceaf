#pragma once

#include <QIcon>
#include <QStyle>

// An icon of the desktop's theme by its freedesktop name: the symbolic variant first (it
// follows the panel's look), then the full-colour one, then the style's own picture.
QIcon symbolIcon(const QString &name, QStyle::StandardPixmap fallback = QStyle::SP_CustomBase);
