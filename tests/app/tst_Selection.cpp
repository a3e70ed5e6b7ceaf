#include "QorvelCommand.h"
#include "SessionTools.h"
#include "TestFiles.h"

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

// `qorvel screenshot --select` in its own process, end to end: the overlay over a real X
// server, the user's hand played by xdotool, elements found on the accessibility bus, and the
// capture delivered to the Catbox stand-in, the keyring, dunst and the X clipboard.
class tst_Selection : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QProcess m_gtk;
    QProcess m_xterm;
    QJsonObject m_frames; // the GTK window's parts, in screen pixels

    QString opened() const { return m_dir.filePath(QStringLiteral("opened.txt")); }

    static QRect rectOf(const QJsonValue &value)
    {
        const QJsonArray a = value.toArray();
        return QRect(a.at(0).toInt(), a.at(1).toInt(), a.at(2).toInt(), a.at(3).toInt());
    }

    // Starts the selection with the pointer at `start`, lets `hand` play once the overlay has
    // painted, and returns the exit status and the printed lines.
    QPair<int, QStringList> select(const QStringList &arguments, const QPoint &start, const std::function<void()> &hand)
    {
        QProcessEnvironment environment = OverlayPaints::logging();
        environment.insert(
            QStringLiteral("PATH"), m_dir.path() + QLatin1Char(':') + environment.value(QStringLiteral("PATH")));
        xdotool(QStringLiteral("mousemove %1 %2").arg(start.x()).arg(start.y()));
        QProcess selection;
        selection.setProcessEnvironment(environment);
        selection.start(QStringLiteral(QORVEL_EXECUTABLE), words("screenshot --select") + arguments);
        if (!OverlayPaints(selection).next())
            return {-1, {}};
        hand();
        // A process still running has no exit status yet: QProcess would report 0.
        if (!selection.waitForFinished(30'000) && selection.state() != QProcess::NotRunning)
            return {-1, {}};
        return {selection.exitCode(),
            QString::fromUtf8(selection.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts)};
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        // The browser Qt asks for a link through xdg-open writes down what it was asked.
        writeTestFile(m_dir.filePath(QStringLiteral("xdg-open")),
            "#!/bin/sh\nprintf '%s' \"$1\" > '" + opened().toUtf8() + "'\n");
        QVERIFY(QFile::setPermissions(
            m_dir.filePath(QStringLiteral("xdg-open")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        // A terminal offers no elements, so a click there takes the window.
        QVERIFY(startTextTerminal(m_xterm));
        // A window whose parts the accessibility bus knows, right of the terminal.
        m_gtk.start(QStringLiteral("/usr/bin/python3"),
            {QStringLiteral(GTK_WINDOW_SCRIPT), QStringLiteral("1000"), QStringLiteral("200")});
        QTRY_VERIFY_WITH_TIMEOUT(m_gtk.canReadLine(), 15000);
        const QByteArray ready = m_gtk.readLine();
        QVERIFY2(ready.startsWith("READY "), ready.constData());
        m_frames = QJsonDocument::fromJson(ready.mid(ready.indexOf('{'))).object();
        QTest::qWait(500);

        QCOMPARE(runQorvel(words("account set"), "testhash0123456789\n").exitCode, 0);
    }

    void cleanupTestCase()
    {
        m_gtk.kill();
        m_xterm.kill();
        m_gtk.waitForFinished();
        m_xterm.waitForFinished();
    }

    // Exactly the highlighted pixels, read back from the screen by another program: a drag
    // over text; a click on a window takes it as the window manager frames it; a click in the
    // GTK window takes the list under the pointer (its rows are too short to be offered
    // first). Escape is checked by tst_TrayApp and tst_AppProcess.
    void savesWhatWasSelected_data()
    {
        QTest::addColumn<QString>("target");
        QTest::newRow("drag an area") << QStringLiteral("area");
        QTest::newRow("click a window") << QStringLiteral("window");
        QTest::newRow("click an element") << QStringLiteral("element");
    }
    void savesWhatWasSelected()
    {
        QFETCH(QString, target);
        const QString file = m_dir.filePath(target + QLatin1String(".png"));
        const QRect window = rectOf(m_frames.value(QStringLiteral("window")));
        const QRect toolbar = rectOf(m_frames.value(QStringLiteral("toolbar")));
        QPoint start(300, 200);
        std::function<void()> hand = [] { xdotool("click 1"); };
        QRect expected; // none for a window, which the window manager frames as it likes
        if (target == QLatin1String("area")) {
            hand = dragTheTestArea;
            expected = QRect(300, 200, 300, 150);
        } else if (target == QLatin1String("element")) {
            start = rectOf(m_frames.value(QStringLiteral("row"))).center();
            // A small move asks the finder; its answer comes within a few walks of 150 ms.
            hand = [] {
                xdotool("mousemove_relative 2 2");
                QTest::qWait(1500);
                xdotool("click 1");
            };
            expected = QRect(window.left(), toolbar.bottom() + 1, window.width(), window.bottom() - toolbar.bottom());
        }
        const auto [exitCode, output] = select({QStringLiteral("-o"), file}, start, hand);

        QCOMPARE(exitCode, 0);
        QCOMPARE(output, QStringList{file});
        const QImage image(file);
        if (expected.isNull()) {
            QVERIFY2(image.width() > 600 && image.height() > 400,
                qPrintable(QStringLiteral("%1x%2").arg(image.width()).arg(image.height())));
            return;
        }
        QCOMPARE(image.size(), expected.size());
        const QString difference = firstDifference(image, screenRegion(expected, m_dir.path()));
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
    }

    // Copy, save and upload on: the link on the clipboard, the file saved, a history record,
    // and a notification whose click opens the link. A failing host is tst_CaptureOutput's.
    void deliversEverywhere()
    {
        const auto [exitCode, output] = select(words("--copy --save --upload"), {300, 200}, dragTheTestArea);
        QCOMPARE(exitCode, 0);
        QCOMPARE(output.size(), 2);
        QCOMPARE(QImage(output.at(0)).size(), QSize(300, 150));
        QVERIFY(QTest::qWaitFor([] { return !lastNotify().isEmpty(); }, 10'000));
        const QString link = output.at(1);
        QVERIFY(link.startsWith(QLatin1String("https://files.catbox.moe/")));
        QCOMPARE(pasted(QStringLiteral("text/plain")), link.toUtf8());
        QVERIFY(runQorvel(words("uploads")).output.contains(link.toUtf8()));
        // The user clicks the notification: dunst runs its default action.
        QCOMPARE(QProcess::execute(QStringLiteral("dunstctl"), words("action 0")), 0);
        QVERIFY(QTest::qWaitFor([this] { return QFile::exists(opened()); }, 10'000));
        QFile file(opened());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()), link);
        QProcess::execute(QStringLiteral("dunstctl"), {QStringLiteral("close-all")});
    }
};

QTEST_GUILESS_MAIN(tst_Selection)
#include "tst_Selection.moc"
