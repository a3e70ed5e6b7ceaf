#include "TerminalText.h"

#include <QTest>

class tst_TerminalText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A terminal obeys C0 and C1 controls and DEL (U+009B opens an escape sequence by itself);
    // everything else, non-ASCII letters included, is shown as it is.
    void controlsAreShownNotObeyed_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("printed");
        QTest::newRow("plain") << QStringLiteral("Größe 2026/日本 (2).png")
                               << QStringLiteral("Größe 2026/日本 (2).png");
        QTest::newRow("C0") << QStringLiteral("a") + QChar(0) + QStringLiteral("b\nc\td\x1b[7me\r")
                            << QStringLiteral("a\\x00b\\nc\\td\\x1b[7me\\x0d");
        QTest::newRow("DEL and C1") << QStringLiteral("a\x7f"
                                                      "b\u009b2Jc\u0085")
                                    << QStringLiteral("a\\x7fb\\x9b2Jc\\x85");
    }
    void controlsAreShownNotObeyed()
    {
        QFETCH(QString, text);
        QFETCH(QString, printed);
        QCOMPARE(printableText(text), printed);
    }
};

QTEST_GUILESS_MAIN(tst_TerminalText)
#include "tst_TerminalText.moc"
