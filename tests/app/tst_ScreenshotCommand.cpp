#include "QorvelCommand.h"
#include "SessionTools.h"
#include "VisibleWindows.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

class tst_ScreenshotCommand : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QProcess m_xterm;

    QorvelRun qorvel(const QStringList &arguments, const QString &scaleFactor = QString())
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
        if (!scaleFactor.isEmpty())
            environment.insert(QStringLiteral("QT_SCALE_FACTOR"), scaleFactor);
        return runQorvel(QStringList{QStringLiteral("screenshot")} + arguments, {}, environment);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(startTextTerminal(m_xterm));
        QProcess::execute(
            QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QStringLiteral("1900"), QStringLiteral("1060")});
        QTest::qWait(500);
    }

    void cleanupTestCase()
    {
        m_xterm.kill();
        m_xterm.waitForFinished();
    }

    // At scale 2, the area's points are twice as many pixels and the file says 144 dpi; scale 1
    // is the default folder's case below.
    void areaMatchesTheScreen_data()
    {
        QTest::addColumn<QString>("format");
        QTest::newRow("png") << QStringLiteral("png");
        QTest::newRow("jpeg") << QStringLiteral("jpeg");
    }

    void areaMatchesTheScreen()
    {
        QFETCH(QString, format);
        const QRect pixels(200, 200, 400, 300);
        const QString file = m_dir.filePath(QStringLiteral("area.") + format);
        const QorvelRun run = qorvel({QStringLiteral("--area"), QStringLiteral("100,100,200,150"),
                                         QStringLiteral("--format"), format, QStringLiteral("-o"), file},
            QStringLiteral("2"));
        QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
        QCOMPARE(run.output.trimmed(), QFile::encodeName(file));

        const QImage image(file);
        QCOMPARE(image.size(), pixels.size());
        QCOMPARE(qRound(image.dotsPerMeterX() * 0.0254), 144);
        const QImage reference = screenRegion(pixels, m_dir.path());
        if (format == QLatin1String("png")) {
            const QString difference = firstDifference(image, reference);
            QVERIFY2(difference.isEmpty(), qPrintable(difference));
            return;
        }
        // JPEG is lossy: close, not equal, and far from any other part of the screen.
        qint64 difference = 0;
        const QImage decoded = image.convertToFormat(QImage::Format_RGB32);
        for (int y = 0; y < decoded.height(); ++y)
            for (int x = 0; x < decoded.width(); ++x)
                difference += qAbs(qGray(decoded.pixel(x, y)) - qGray(reference.pixel(x, y)));
        QVERIFY2(difference / (decoded.width() * decoded.height()) < 8, qPrintable(QString::number(difference)));
    }

    void failuresSayWhy_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("window gone") << QStringList{QStringLiteral("--window"), QStringLiteral("0x7fffff0")}
                                     << QStringLiteral("The window was closed or hidden during the selection.");
        QTest::newRow("no such display") << QStringList{QStringLiteral("--display"),
            QStringLiteral(
                "4040")} << QStringLiteral("Display not found. It may have been disconnected during the selection.");
        QTest::newRow("empty area") << QStringList{QStringLiteral("--area"), QStringLiteral("10,10,0,40")}
                                    << QStringLiteral("The selected area is empty.");
    }

    void failuresSayWhy()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const QorvelRun run
            = qorvel(arguments + QStringList{QStringLiteral("-o"), m_dir.filePath(QStringLiteral("x.png"))});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.errors.startsWith(QLatin1String("qorvel: ") + message), qPrintable(run.errors));
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("x.png"))));
    }

    void neverOverwritesAFile()
    {
        const QString file = m_dir.filePath(QStringLiteral("mine.png"));
        QFile mine(file);
        QVERIFY(mine.open(QIODevice::WriteOnly));
        mine.write("the user's own file");
        mine.close();
        const QorvelRun run = qorvel({QStringLiteral("-o"), file});
        QCOMPARE(run.exitCode, 1);
        QVERIFY(mine.open(QIODevice::ReadOnly));
        QCOMPARE(mine.readAll(), QByteArray("the user's own file"));
    }

    // The preferences' folder and template; control characters in either never reach the
    // terminal raw, and a NUL in the template does not cut the file's name short.
    void defaultsToTheFolderAndTemplate()
    {
        const QString folder = m_dir.filePath(QStringLiteral("Shots\x1b[7m"));
        const QString configFile = m_dir.filePath(QStringLiteral("config/qorvel/qorvel.conf"));
        {
            QSettings config(configFile, QSettings::IniFormat);
            config.setValue(QStringLiteral("screenshotSaveFolderPath"), folder);
            config.setValue(QStringLiteral("fileNameTemplate"),
                QString(QStringLiteral("shot") + QChar(0) + QStringLiteral(" {yyyy}")));
            config.setValue(QStringLiteral("screenshotFormat"), QStringLiteral("jpeg"));
        }

        const QorvelRun run = qorvel({});
        QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
        const QString printed = QString::fromUtf8(run.output.trimmed());
        QVERIFY2(printed.startsWith(m_dir.filePath(QStringLiteral("Shots\\x1b[7m/shot- 2"))), qPrintable(printed));
        QVERIFY(printed.endsWith(QLatin1String(".jpg")));
        const QStringList saved = QDir(folder).entryList(QDir::Files);
        QCOMPARE(saved.size(), 1);
        QCOMPARE(QImage(QDir(folder).filePath(saved.first())).size(), QSize(1920, 1080));
        QFile::remove(configFile);
    }

    void writesToStandardOutput()
    {
        const QorvelRun run = qorvel(
            {QStringLiteral("--area"), QStringLiteral("0,0,32,16"), QStringLiteral("-o"), QStringLiteral("-")});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(QImage::fromData(run.output, "PNG").size(), QSize(32, 16));

        // Output that cannot be written is a failure, for the image and for any listing.
        for (const QString &command :
            {QStringLiteral("screenshot --area 0,0,10,10 -o -"), QStringLiteral("displays")}) {
            const QorvelRun full = runProgram(QStringLiteral("sh"),
                {QStringLiteral("-c"), QStringLiteral("exec \"$0\" %1 > /dev/full").arg(command),
                    QStringLiteral(QORVEL_EXECUTABLE)});
            QCOMPARE(full.exitCode, 1);
            QVERIFY(full.errors.contains(QLatin1String("Couldn't write to standard output.")));
        }
    }

    void listsTheWindowsASelectionOffers()
    {
        const QorvelRun run = runQorvel({QStringLiteral("windows")});
        QCOMPARE(run.exitCode, 0);
        const QList<QByteArray> lines = run.output.trimmed().split('\n');
        QCOMPARE(lines.size(), 1); // the terminal; the window manager's own windows are not offered
        const QList<QByteArray> fields = lines.first().split('\t');
        QCOMPARE(fields.size(), 4);
        QVERIFY(fields.at(1).startsWith("150,150 "));
        QCOMPARE(fields.at(2).toLongLong(), m_xterm.processId());
        QCOMPARE(fields.at(3), QByteArray("xterm"));
    }

    void listsDisplaysInPoints()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_SCALE_FACTOR"), QStringLiteral("2"));
        const QList<QByteArray> fields
            = runQorvel({QStringLiteral("displays")}, {}, environment).output.trimmed().split('\t');
        QCOMPARE(fields.size(), 4);
        QCOMPARE(fields.at(1), QByteArray("0,0 960x540"));
        QCOMPARE(fields.at(2), QByteArray("2"));
    }
};

QTEST_GUILESS_MAIN(tst_ScreenshotCommand)
#include "tst_ScreenshotCommand.moc"
