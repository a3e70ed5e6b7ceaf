#include "ExclusiveFile.h"
#include "FileNameTemplate.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>
#include <ctime>

class tst_FileNameTemplate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void expand_data()
    {
        QTest::addColumn<QString>("nameTemplate");
        QTest::addColumn<QDateTime>("instant");
        QTest::addColumn<QString>("expected");

        const QDateTime morning(QDate(2025, 1, 31), QTime(9, 5, 7));
        QTest::newRow("default template")
            << FileNameTemplate::defaultTemplate() << morning << QStringLiteral("Qorvel 2025-01-31 at 09.05.07");
        QTest::newRow("years padded, every occurrence")
            << QStringLiteral("{yyyy} {yy}{yy}") << QDateTime(QDate(907, 6, 1), QTime(0, 0))
            << QStringLiteral("0907 0707");
        QTest::newRow("slash and colon") << QStringLiteral("a/b:c") << morning << QStringLiteral("a-b.c");
        // C0, DEL and C1 (U+009B is a terminal's one-byte escape); other letters stay.
        QTest::newRow("control characters")
            << QStringLiteral("a") + QChar(0) + QStringLiteral("b\nc\x1b[31md\u0085e\tf\x7fg\u009bÅ") << morning
            << QStringLiteral("a-b-c-[31md-e-f-g-Å");
        QTest::newRow("blanks and dots around a token")
            << QStringLiteral("  ..{HH}  ") << morning << QStringLiteral("09");
        QTest::newRow("only blanks") << QStringLiteral("   \n\t") << morning << QStringLiteral("Qorvel");
        QTest::newRow("only dots") << QStringLiteral("....") << morning << QStringLiteral("Qorvel");
        QTest::newRow("unknown braces stay")
            << QStringLiteral("{YYYY} {h} {MM}") << morning << QStringLiteral("{YYYY} {h} 01");
    }

    void expand()
    {
        QFETCH(QString, nameTemplate);
        QFETCH(QDateTime, instant);
        QFETCH(QString, expected);
        QCOMPARE(FileNameTemplate::expand(nameTemplate, instant), expected);
    }

    // The user reads the clock on their desk, not UTC.
    void expandUsesTheLocalTimeZone()
    {
        const QByteArray savedTz = qgetenv("TZ");
        qputenv("TZ", "Asia/Kolkata");
        tzset();
        const QDateTime utc(QDate(2025, 12, 31), QTime(20, 0, 0), Qt::UTC);
        const QString name = FileNameTemplate::expand(FileNameTemplate::defaultTemplate(), utc);
        qputenv("TZ", savedTz);
        tzset();
        QCOMPARE(name, QStringLiteral("Qorvel 2026-01-01 at 01.30.00"));
    }

    void uniqueFilePath_data()
    {
        QTest::addColumn<QStringList>("existing");
        QTest::addColumn<QString>("baseName");
        QTest::addColumn<QString>("expected");
        QTest::newRow("counter continues")
            << QStringList{QStringLiteral("Qorvel.png"), QStringLiteral("Qorvel (2).png")} << QStringLiteral("Qorvel")
            << QStringLiteral("Qorvel (3).png");
        QTest::newRow("other extension does not count")
            << QStringList{QStringLiteral("Shot.jpg")} << QStringLiteral("Shot") << QStringLiteral("Shot.png");
        QTest::newRow("a dangling link counts")
            << QStringList{QStringLiteral("Shot.png@")} << QStringLiteral("Shot") << QStringLiteral("Shot (2).png");
    }

    void uniqueFilePath()
    {
        QFETCH(QStringList, existing);
        QFETCH(QString, baseName);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        for (const QString &entry : existing) {
            if (entry.endsWith(QLatin1Char('@')))
                QVERIFY(QFile::link(dir.filePath(QStringLiteral("nowhere")), dir.filePath(entry.chopped(1))));
            else
                QVERIFY(ExclusiveFile::write(dir.filePath(entry), "x").ok());
        }
        QCOMPARE(FileNameTemplate::uniqueFilePath(dir.path(), baseName, QStringLiteral("png")), dir.filePath(expected));
    }
};

QTEST_GUILESS_MAIN(tst_FileNameTemplate)
#include "tst_FileNameTemplate.moc"
