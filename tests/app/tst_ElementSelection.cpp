#include "VisibleWindows.h"

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

class tst_ElementSelection : public QObject
{
    Q_OBJECT

private:
    QProcess m_gtk;
    QJsonObject m_frames;
    QTemporaryDir m_dir;

    static QRect rectOf(const QJsonValue &value)
    {
        const QJsonArray a = value.toArray();
        return QRect(a.at(0).toInt(), a.at(1).toInt(), a.at(2).toInt(), a.at(3).toInt());
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_gtk.start(QStringLiteral("/usr/bin/python3"),
            {QStringLiteral(GTK_WINDOW_SCRIPT), QStringLiteral("300"), QStringLiteral("200")});
        QTRY_VERIFY_WITH_TIMEOUT(m_gtk.canReadLine(), 15000);
        const QByteArray ready = m_gtk.readLine();
        QVERIFY2(ready.startsWith("READY "), ready.constData());
        m_frames = QJsonDocument::fromJson(ready.mid(ready.indexOf('{'))).object();
        QVERIFY(!m_frames.isEmpty());
    }

    void cleanupTestCase()
    {
        m_gtk.kill();
        m_gtk.waitForFinished();
    }

    // The list fills the window below the toolbar; its rows are too short to be offered first,
    // so the list is the level under the pointer, and a click saves exactly its pixels.
    void clickSavesTheElementUnderThePointer()
    {
        const QRect window = rectOf(m_frames.value(QStringLiteral("window")));
        const QRect toolbar = rectOf(m_frames.value(QStringLiteral("toolbar")));
        const QRect list(window.left(), toolbar.bottom() + 1, window.width(), window.bottom() - toolbar.bottom());
        const QPoint inside = rectOf(m_frames.value(QStringLiteral("row"))).center();

        const QString file = m_dir.filePath(QStringLiteral("element.png"));
        QProcess::execute(QStringLiteral("xdotool"),
            {QStringLiteral("mousemove"), QString::number(inside.x()), QString::number(inside.y())});
        QProcess selection;
        selection.start(QStringLiteral(QORVEL_EXECUTABLE),
            {QStringLiteral("screenshot"), QStringLiteral("--select"), QStringLiteral("-o"), file});
        QTRY_VERIFY_WITH_TIMEOUT(hasVisibleWindow(selection), 10000);
        // A small move asks the finder; its answer arrives within a few walks of 150 ms at most.
        QProcess::execute(QStringLiteral("xdotool"),
            {QStringLiteral("mousemove_relative"), QStringLiteral("2"), QStringLiteral("2")});
        QTest::qWait(1500);
        QProcess::execute(QStringLiteral("xdotool"), {QStringLiteral("click"), QStringLiteral("1")});
        QVERIFY(selection.state() == QProcess::NotRunning || selection.waitForFinished(10000));
        QVERIFY2(selection.exitCode() == 0, selection.readAllStandardError().constData());

        const QImage saved(file);
        QCOMPARE(saved.size(), list.size());
        const QString reference = m_dir.filePath(QStringLiteral("reference.png"));
        QCOMPARE(QProcess::execute(QStringLiteral("/usr/bin/import"),
                     {QStringLiteral("-window"), QStringLiteral("root"), QStringLiteral("-crop"),
                         QStringLiteral("%1x%2+%3+%4").arg(list.width()).arg(list.height()).arg(list.x()).arg(list.y()),
                         QStringLiteral("+repage"), reference}),
            0);
        const QImage expected = QImage(reference).convertToFormat(QImage::Format_RGB32);
        const QImage actual = saved.convertToFormat(QImage::Format_RGB32);
        for (int y = 0; y < actual.height(); ++y)
            for (int x = 0; x < actual.width(); ++x)
                QVERIFY2((actual.pixel(x, y) & 0xffffff) == (expected.pixel(x, y) & 0xffffff),
                    qPrintable(QStringLiteral("pixel %1,%2").arg(x).arg(y)));
    }
};

QTEST_GUILESS_MAIN(tst_ElementSelection)
#include "tst_ElementSelection.moc"
