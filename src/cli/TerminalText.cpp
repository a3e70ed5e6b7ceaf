#include "TerminalText.h"

QString printableText(const QString &text)
{
    QString printable;
    printable.reserve(text.size());
    for (const QChar c : text) {
        if (c == QLatin1Char('\n'))
            printable += QLatin1String("\\n");
        else if (c == QLatin1Char('\t'))
            printable += QLatin1String("\\t");
        else if (c.category() == QChar::Other_Control)
            printable += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        else
            printable += c;
    }
    return printable;
}
