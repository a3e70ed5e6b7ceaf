#include "QorvelCommand.h"
#include "SessionTools.h"
#include "TestFiles.h"

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
        return runQorvel(arguments, {}, environment);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(startTextTerminal(m_xterm));
        xdotool("mousemove 1900 1060");
        QTest::qWait(500);
    }

    void cleanupTestCase()
    {
        m_xterm.kill();
        m_xterm.waitForFinished();
    }

    // At scale 2 the area's points are twice as many pixels and the file says 144 dpi; scale 1
    // and JPEG are the default folder's case below.
    void areaMatchesTheScreen()
    {
        const QRect pixels(200, 200, 400, 300);
        const QString file = m_dir.filePath(QStringLiteral("area.png"));
        const QorvelRun run = qorvel(words("screenshot --area 100,100,200,150 -o") << file, QStringLiteral("2"));
        QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
        QCOMPARE(run.output.trimmed(), QFile::encodeName(file));

        const QImage image(file);
        QCOMPARE(image.size(), pixels.size());
        QCOMPARE(qRound(image.dotsPerMeterX() * 0.0254), 144);
        const QString difference = firstDifference(image, screenRegion(pixels, m_dir.path()));
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
    }

    void failuresSayWhy_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("fileTaken");
        QTest::newRow("window gone") << words("--window 0x7fffff0")
                                     << QStringLiteral("The window was closed or hidden during the selection.")
                                     << false;
        QTest::newRow("no such display")
            << words("--display 4040")
            << QStringLiteral("Display not found. It may have been disconnected during the selection.") << false;
        QTest::newRow("empty area") << words("--area 10,10,0,40") << QStringLiteral("The selected area is empty.")
                                    << false;
        QTest::newRow("file taken") << QStringList() << QString() << true;
    }

    // Nothing is written: no file for a capture that failed, and the user's file that was there
    // already stays as it was.
    void failuresSayWhy()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QFETCH(bool, fileTaken);
        const QString file = m_dir.filePath(QStringLiteral("x.png"));
        if (fileTaken)
            writeTestFile(file, "the user's own file");
        const QorvelRun run = qorvel(words("screenshot") + arguments + QStringList{QStringLiteral("-o"), file});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.errors.startsWith(QLatin1String("qorvel: ") + message), qPrintable(run.errors));
        QFile written(file);
        QCOMPARE(written.exists(), fileTaken);
        QVERIFY(!fileTaken || (written.open(QIODevice::ReadOnly) && written.readAll() == "the user's own file"));
        written.remove();
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

        const QorvelRun run = qorvel(words("screenshot"));
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
        const QorvelRun run = qorvel(words("screenshot --area 0,0,32,16 -o -"));
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

    // The windows a selection offers, the window manager's own left out, and the displays in
    // points.
    void listsWindowsAndDisplays()
    {
        const QList<QByteArray> windows = qorvel(words("windows")).output.trimmed().split('\n');
        QCOMPARE(windows.size(), 1); // the terminal
        QVERIFY2(windows.first().contains("\t150,150 ")
                && windows.first().endsWith(QByteArray('\t' + QByteArray::number(m_xterm.processId()) + "\txterm")),
            windows.first().constData());
        const QByteArray displays = qorvel(words("displays"), QStringLiteral("2")).output;
        QVERIFY2(displays.contains("\t0,0 960x540\t2\t"), displays.constData());
    }
};

QTEST_GUILESS_MAIN(tst_ScreenshotCommand)
#include "tst_ScreenshotCommand.moc"
