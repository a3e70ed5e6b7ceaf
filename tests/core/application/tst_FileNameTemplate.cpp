#include "ExclusiveFile.h"
#include "FileNameTemplate.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>

class tst_FileNameTemplate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The user reads the clock on their desk, not UTC; half an hour off UTC shows any mix-up.
    void initTestCase()
    {
        qputenv("TZ", "Asia/Kolkata");
        tzset();
    }

    void expand_data()
    {
        QTest::addColumn<QString>("nameTemplate");
        QTest::addColumn<QDateTime>("instant");
        QTest::addColumn<QString>("expected");

        const QDateTime morning(QDate(2025, 1, 31), QTime(9, 5, 7));
        QTest::newRow("default template, in local time")
            << FileNameTemplate::defaultTemplate() << QDateTime(QDate(2025, 12, 31), QTime(20, 0, 0), Qt::UTC)
            << QStringLiteral("Qorvel 2026-01-01 at 01.30.00");
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
        QTest::newRow("only blanks and dots") << QStringLiteral("  \n\t.. ") << morning << QStringLiteral("Qorvel");
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

    // The counter continues past the names taken; a dangling link takes its name too, since an
    // exclusive create would fail on it, and another extension takes none.
    void uniqueFilePath()
    {
        QTemporaryDir dir;
        QVERIFY(ExclusiveFile::write(dir.filePath(QStringLiteral("Shot.png")), "x").ok());
        QVERIFY(QFile::link(dir.filePath(QStringLiteral("nowhere")), dir.filePath(QStringLiteral("Shot (2).png"))));
        QVERIFY(ExclusiveFile::write(dir.filePath(QStringLiteral("Shot (3).jpg")), "x").ok());
        QCOMPARE(FileNameTemplate::uniqueFilePath(dir.path(), QStringLiteral("Shot"), QStringLiteral("png")),
            dir.filePath(QStringLiteral("Shot (3).png")));
    }
};

QTEST_GUILESS_MAIN(tst_FileNameTemplate)
#include "tst_FileNameTemplate.moc"
