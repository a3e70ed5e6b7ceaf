#include "SymbolIcon.h"

#include <QApplication>

QIcon symbolIcon(const QString &name, QStyle::StandardPixmap fallback)
{
    const QIcon symbolic = QIcon::fromTheme(name + QLatin1String("-symbolic"));
    if (!symbolic.isNull())
        return symbolic;
    const QIcon coloured = QIcon::fromTheme(name);
    if (!coloured.isNull() || fallback == QStyle::SP_CustomBase)
        return coloured;
    return QApplication::style()->standardIcon(fallback);
}
