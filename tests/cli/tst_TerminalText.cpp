#include "TerminalText.h"

#include <QTest>

class tst_TerminalText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A terminal obeys C0 and C1 controls and DEL (U+009B opens an escape sequence by itself);
    // everything else, non-ASCII letters included, is shown as it is.
    void controlsAreShownNotObeyed()
    {
        const QString text
            = QStringLiteral("Größe/日本 (2) a") + QChar(0) + QStringLiteral("b\nc\td\x1b[7me\r\x7fz\u009b2Jg\u0085");
        QCOMPARE(
            printableText(text), QStringLiteral("Größe/日本 (2) a\\x00b\\nc\\td\\x1b[7me\\x0d\\x7fz\\x9b2Jg\\x85"));
    }
};

QTEST_GUILESS_MAIN(tst_TerminalText)
#include "tst_TerminalText.moc"
