#include "SymbolIcon.h"

#include <QApplication>
#include <QLabel>

QIcon symbolIcon(const QString &name, QStyle::StandardPixmap fallback)
{
    // Full colour first: Qt draws a symbolic icon in the grey it was drawn in, which vanishes
    // on a dark palette, while the desktop's own toolkit would have recoloured it.
    QIcon coloured = QIcon::fromTheme(name);
    if (!coloured.isNull())
        return coloured;
    QIcon symbolic = QIcon::fromTheme(name + QLatin1String("-symbolic"));
    if (!symbolic.isNull() || fallback == QStyle::SP_CustomBase)
        return symbolic;
    return QApplication::style()->standardIcon(fallback);
}

void setSmallIcon(QLabel &label, const QIcon &icon)
{
    const int side = label.style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, &label);
    label.setPixmap(icon.pixmap(side, side));
}
